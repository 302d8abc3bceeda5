#include "tools/studio/PrivateDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "tools/ToolError.h"

namespace tool {

namespace fs = std::filesystem;

PrivateDirectory::PrivateDirectory() {
    std::vector<fs::path> places;
    if (std::getenv("TMPDIR") == nullptr) {  // NOLINT(concurrency-mt-unsafe): nobody sets variables
        places.emplace_back("/dev/shm");
    }
    std::error_code ignored;
    places.push_back(fs::temp_directory_path(ignored));
    for (const fs::path& place : places) {
        std::string pattern = (place / "huevance_studio_XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) {
            m_path = pattern;
            return;
        }
    }
    throw fileError("cannot make a temporary directory: " + std::string(std::strerror(errno)));
}

void PrivateDirectory::remove() noexcept {
    if (m_removed) {
        return;
    }
    m_removed = true;
    try {
        // Under another name first: what is written there until all is gone has nowhere to go.
        const std::string ending = m_path + "_ending";
        std::error_code failed;
        fs::rename(m_path, ending, failed);
        fs::remove_all(failed ? m_path : ending, failed);
    } catch (const std::exception&) {
        return;  // no memory for a name
    }
}

}  // namespace tool
