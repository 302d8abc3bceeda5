#include "tests/tools/StudioBench.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "tools/picture/Png.h"
#include "tools/tuning/StarterTuning.h"

namespace test {

namespace fs = std::filesystem;

namespace {

// Smooth colours with some grain.
tool::Bytes photo(int width, int height) {
    tool::RgbPicture picture = {{width, height}, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int grain = (x * 7 + y * 13) % 11;
            for (const int level : {x * 200 / width, y * 220 / height, 60 + (x + y) % 90}) {
                picture.levels.push_back(static_cast<std::uint8_t>(level + grain));
            }
        }
    }
    return tool::encodePng(picture);
}

}  // namespace

Watch::Watch(const std::string& directory, std::vector<std::string> allowed)
    : m_descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), m_allowed(std::move(allowed)) {
    constexpr std::uint32_t kAny =
        IN_OPEN | IN_ACCESS | IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVE | IN_ATTRIB;
    std::vector<std::string> directories = {directory};
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_directory() && std::find(m_allowed.begin(), m_allowed.end(), name) == m_allowed.end()) {
            directories.push_back(entry.path().string());
        }
    }
    for (const std::string& one : directories) {
        inotify_add_watch(m_descriptor, one.c_str(), kAny);
    }
}

Watch::~Watch() { close(m_descriptor); }

std::vector<std::string> Watch::touched() {
    std::vector<std::string> names;
    alignas(inotify_event) char buffer[16384];
    for (ssize_t length; (length = read(m_descriptor, buffer, sizeof(buffer))) > 0;) {
        for (const char* at = buffer; at < buffer + length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(at);
            const std::string name = event->len > 0 ? event->name : ".";
            if (std::find(m_allowed.begin(), m_allowed.end(), name) == m_allowed.end()) {
                names.push_back(name);
            }
            at += sizeof(inotify_event) + event->len;
        }
    }
    return names;
}

StudioBench::StudioBench(std::vector<std::string> photos) {
    for (const char* const directory : {"tuning", "photos", "canary"}) {
        fs::create_directory(path(directory));
    }
    tool::StarterOptions options;
    options.photo = "NEON";
    options.looks = {"food"};
    tool::writeStarter(path("tuning"), options);
    tool::writeFile(path("photos/a.png"), photo(96, 64));
    tool::writeFile(path("photos/b.png"), photo(33, 21));
    write("secret", "nobody's business");
    write("canary/secret", "nobody's business");
    for (std::string& name : photos) {
        name = path("photos/" + name);
    }
    studio = std::make_unique<tool::Studio>(studioLibrary(),
                                            tool::StudioOptions{path("tuning"), std::move(photos)});
}

tool::HttpResponse StudioBench::ask(const std::string& method, const std::string& target,
                                    const std::string& body) const {
    tool::HttpRequest request;
    request.method = method;
    request.path = target.substr(0, target.find('?'));
    if (const std::size_t mark = target.find('?'); mark != std::string::npos) {
        const std::size_t equals = target.find('=', mark);
        request.query[target.substr(mark + 1, equals - mark - 1)] = target.substr(equals + 1);
    }
    request.body = body;
    return studio->answer(request);
}

}  // namespace test
