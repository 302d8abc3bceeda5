#include "tools/tuning/FileChanges.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "tools/Stdio.h"
#include "tools/ToolError.h"

namespace tool {

namespace {

// Blocks the signals that end a process, so that none comes between two renames.
class SignalsWait {
public:
    SignalsWait() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &m_before);
    }
    ~SignalsWait() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsWait(const SignalsWait&) = delete;
    SignalsWait& operator=(const SignalsWait&) = delete;

private:
    sigset_t m_before;
};

// One directory, opened once, so that a directory moved meanwhile stays the one that is changed.
class Directory {
public:
    explicit Directory(const std::string& path)
        : m_path(path), m_descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        // Changes of two processes must not mix.
        if (m_descriptor < 0 || flock(m_descriptor, LOCK_EX) != 0) {
            const int error = errno;
            closeAll();
            throw fileError("cannot write into " + path + ": " + std::strerror(error));
        }
    }
    ~Directory() { closeAll(); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    int descriptor() const { return m_descriptor; }
    [[noreturn]] void fail(const std::string& name) const {
        throw fileError("cannot write " + m_path + "/" + name + ": " + std::strerror(errno));
    }
    bool exists(const std::string& name) const {
        struct stat info {};
        return fstatat(m_descriptor, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
    }
    bool holds(const std::string& name, const Bytes& contents) const;
    // A new file with these bytes, on the disk.
    void writeNew(const std::string& name, const Bytes& contents, const std::string& modeOf) const;
    // The file under a second name; a copy where the file system has no links.
    void keep(const std::string& name, const std::string& as) const;

private:
    void closeAll() {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }
    std::string m_path;
    int m_descriptor;
};

bool Directory::holds(const std::string& name, const Bytes& contents) const {
    struct stat info {};
    if (fstatat(m_descriptor, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode) ||
        static_cast<std::size_t>(info.st_size) != contents.size()) {
        return false;
    }
    try {
        return readFile(m_path + "/" + name) == contents;
    } catch (const ToolError&) {
        return false;
    }
}

void Directory::writeNew(const std::string& name, const Bytes& contents, const std::string& modeOf) const {
    const int file =
        openat(m_descriptor, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (file < 0) {
        fail(name);
    }
    try {
        struct stat info {};
        if (fstatat(m_descriptor, modeOf.c_str(), &info, 0) == 0 && fchmod(file, info.st_mode & 07777) != 0) {
            fail(name);
        }
        writeAll(file, contents.data(), contents.size(), m_path + "/" + modeOf);
        if (fsync(file) != 0) {
            fail(modeOf);
        }
    } catch (...) {
        close(file);
        throw;
    }
    if (close(file) != 0) {
        fail(modeOf);
    }
}

void Directory::keep(const std::string& name, const std::string& as) const {
    if (linkat(m_descriptor, name.c_str(), m_descriptor, as.c_str(), 0) == 0) {
        return;
    }
    struct stat info {};
    if (fstatat(m_descriptor, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISREG(info.st_mode)) {
        errno = S_ISDIR(info.st_mode) ? EISDIR : EPERM;
        fail(name);
    }
    writeNew(as, readFile(m_path + "/" + name), name);
}

// One file on its way: the new contents and a second link to the old ones stand beside it until all are done.
struct Change {
    std::string name, fresh, old;
    const std::optional<Bytes>* contents;
    bool existed = false;
    bool done = false;
};

void prepare(const Directory& directory, Change& change) {
    change.existed = directory.exists(change.name);
    if (*change.contents) {
        directory.writeNew(change.fresh, **change.contents, change.name);
    }
    if (change.existed) {
        directory.keep(change.name, change.old);
    }
}

void putInPlace(const Directory& directory, Change& change) {
    const int at = directory.descriptor();
    const int result = *change.contents ? renameat(at, change.fresh.c_str(), at, change.name.c_str())
                                        : unlinkat(at, change.name.c_str(), 0);
    if (result != 0) {
        directory.fail(change.name);
    }
    change.done = true;
}

void takeBack(const Directory& directory, const std::vector<Change>& changes) {
    const int at = directory.descriptor();
    for (const Change& change : changes) {
        if (change.done && change.existed) {
            renameat(at, change.old.c_str(), at, change.name.c_str());
        } else if (change.done) {
            unlinkat(at, change.name.c_str(), 0);
        }
    }
}

void removeHelpers(const Directory& directory, const std::vector<Change>& changes) {
    for (const Change& change : changes) {
        unlinkat(directory.descriptor(), change.fresh.c_str(), 0);
        unlinkat(directory.descriptor(), change.old.c_str(), 0);
    }
}

}  // namespace

std::vector<std::string> FileChanges::commit() const {
    const SignalsWait wait;
    const Directory directory(m_directory);
    std::vector<Change> changes;
    std::vector<std::string> names;
    for (const auto& [name, contents] : m_files) {
        if (name.find('/') != std::string::npos) {
            throw fileError(name + " is not a name of a file in " + m_directory);
        }
        if (contents ? !directory.holds(name, *contents) : directory.exists(name)) {
            const std::string helper = "." + name + ".huevance-" + std::to_string(getpid());
            changes.push_back({name, helper + ".new", helper + ".old", &contents});
            names.push_back(name);
        }
    }
    try {
        for (Change& change : changes) {
            prepare(directory, change);
        }
        for (Change& change : changes) {
            putInPlace(directory, change);
        }
    } catch (...) {
        takeBack(directory, changes);
        removeHelpers(directory, changes);
        throw;
    }
    removeHelpers(directory, changes);
    fsync(directory.descriptor());
    return names;
}

}  // namespace tool
