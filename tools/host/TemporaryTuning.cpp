#include "tools/host/TemporaryTuning.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "tools/Files.h"
#include "tools/ToolError.h"
#include "tools/host/PlatformSet.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

// What the signal handler may touch: the paths of the directories that live, and system calls alone.
constexpr int kMost = 16;
char g_directories[kMost][512];

// Removes what lies in a directory of ours, files and links only, and the directory.
void removeWhole(const char* path) {
    const int directory = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0) {
        return;
    }
    // As the kernel has it: readdir allocates, which a signal handler may not.
    struct Entry {
        std::uint64_t inode;
        std::int64_t offset;
        unsigned short length;
        unsigned char type;
        char name[1];
    };
    alignas(8) char buffer[4096];
    // File systems may skip names while others go, so once more from the start.
    for (int pass = 0; pass < 3; ++pass) {
        lseek(directory, 0, SEEK_SET);
        for (long size; (size = syscall(SYS_getdents64, directory, buffer, sizeof(buffer))) > 0;) {
            for (long at = 0; at < size;) {
                const Entry* entry = reinterpret_cast<const Entry*>(buffer + at);
                unlinkat(directory, entry->name, 0);  // "." and ".." stay
                at += entry->length;
            }
        }
    }
    close(directory);
    rmdir(path);
}

void removeOnSignal(int number) {
    for (const char* directory : g_directories) {
        if (directory[0] != '\0') {
            removeWhole(directory);
        }
    }
    std::signal(number, SIG_DFL);
    std::raise(number);
}

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT};

std::mutex& registry() {
    static std::mutex mutex;
    return mutex;
}

// Without a place for it a directory is removed by its destructor alone.
void catchSignals(const std::string& path) {
    const std::lock_guard lock(registry());
    for (char(&directory)[512] : g_directories) {
        if (directory[0] == '\0' && path.size() < sizeof(directory)) {
            path.copy(directory, sizeof(directory) - 1);
            break;
        }
    }
    for (const int number : kSignals) {
        std::signal(number, removeOnSignal);
    }
}

void releaseSignals(const std::string& path) {
    const std::lock_guard lock(registry());
    bool any = false;
    for (char(&directory)[512] : g_directories) {
        if (path == directory) {
            std::memset(directory, 0, sizeof(directory));
        }
        any = any || directory[0] != '\0';
    }
    for (const int number : kSignals) {
        std::signal(number, any ? removeOnSignal : SIG_DFL);
    }
}

}  // namespace

TemporaryTuning::TemporaryTuning(const std::string& directory, const std::string& backEnd,
                                 const NamedTexts& files) {
    create();
    try {
        NamedTexts own = files;
        if (!backEnd.empty()) {
            const std::string cache = iniValue(directory + "/platformSet.ini", "cache", "path");
            own["platformSet.ini"] = platformText(backEnd, cache.empty() ? m_path : cache);
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
            if (!own.contains(entry.path().filename().string())) {
                fs::create_symlink(fs::absolute(entry.path()), fs::path(m_path) / entry.path().filename());
            }
        }
        for (const auto& [name, text] : own) {
            writeFile(m_path + "/" + name, Bytes(text.begin(), text.end()));
        }
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
    releaseSignals(m_path);
}

}  // namespace tool
