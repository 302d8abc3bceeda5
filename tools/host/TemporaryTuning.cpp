#include "tools/host/TemporaryTuning.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "tools/Files.h"
#include "tools/ToolError.h"
#include "tools/host/PlatformSet.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

// What the signal handler may touch: names fixed before it can run. One directory at a time lives here, which
// is as many as the program has.
constexpr int kNames = 4096;
char g_directory[512];
char g_names[kNames][64];
volatile std::sig_atomic_t g_nameCount = 0;

void removeOnSignal(int number) {
    const int directory = open(g_directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        for (int i = 0; i < g_nameCount; ++i) {
            unlinkat(directory, g_names[i], 0);
        }
        close(directory);
        rmdir(g_directory);
    }
    std::signal(number, SIG_DFL);
    std::raise(number);
}

void rememberNames(const std::string& path) {
    int count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
        const std::string name = entry.path().filename().string();
        if (count < kNames && name.size() < sizeof(g_names[0])) {
            name.copy(g_names[count], name.size());
            g_names[count++][name.size()] = '\0';
        }
    }
    g_nameCount = count;
}

void catchSignals(const std::string& path) {
    path.copy(g_directory, std::min(path.size(), sizeof(g_directory) - 1));
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT}) {
        std::signal(number, removeOnSignal);
    }
}

void releaseSignals() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT}) {
        std::signal(number, SIG_DFL);
    }
    std::memset(g_directory, 0, sizeof(g_directory));
    g_nameCount = 0;
}

}  // namespace

TemporaryTuning::TemporaryTuning(const std::string& directory, const std::string& backEnd) {
    create();
    try {
        for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
            if (entry.path().filename() != "platformSet.ini") {
                fs::create_symlink(fs::absolute(entry.path()), fs::path(m_path) / entry.path().filename());
            }
        }
        const std::string cache = iniValue(directory + "/platformSet.ini", "cache", "path");
        const std::string text = platformText(backEnd, cache.empty() ? m_path : cache);
        writeFile(m_path + "/platformSet.ini", Bytes(text.begin(), text.end()));
        rememberNames(m_path);
    } catch (const fs::filesystem_error& error) {
        remove();
        throw fileError("cannot read the tuning directory " + directory + ": " + error.code().message());
    } catch (...) {
        remove();
        throw;
    }
}

TemporaryTuning::TemporaryTuning(const std::function<void(const std::string&, const std::string&)>& write,
                                 const std::string& backEnd) {
    create();
    try {
        write(m_path, backEnd);
        rememberNames(m_path);
    } catch (...) {
        remove();
        throw;
    }
}

TemporaryTuning::~TemporaryTuning() { remove(); }

void TemporaryTuning::create() {
    std::error_code failed;
    const fs::path parent = fs::temp_directory_path(failed);
    std::string pattern = (parent / "huevance_tuning_XXXXXX").string();
    if (failed || mkdtemp(pattern.data()) == nullptr) {
        throw fileError("cannot make a temporary directory: " + std::string(std::strerror(errno)));
    }
    m_path = pattern;
    catchSignals(m_path);
}

void TemporaryTuning::remove() noexcept {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);  // does not follow links
    releaseSignals();
}

}  // namespace tool
