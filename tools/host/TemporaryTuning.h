// A tuning directory for one run, which leaves nothing behind: another platform choice, or other settings,
// over somebody's tuning.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace tool {

// Contents by name, of files directly in a directory.
using NamedTexts = std::map<std::string, std::string>;

class TemporaryTuning {
public:
    // Links to every file of `directory`, except platformSet.ini, which names `backEnd` for both modes and
    // keeps the original's cache directory. An empty `backEnd` is the tuning's own. `files` stand instead of
    // those of the same names. Throws (exit code 3).
    TemporaryTuning(const std::string& directory, const std::string& backEnd, const NamedTexts& files = {});
    // A fresh tuning, written by `write(directory, backEnd)`.
    TemporaryTuning(const std::function<void(const std::string&, const std::string&)>& write,
                    const std::string& backEnd);
    // Removes the directory. Signals that end the process remove it, too.
    ~TemporaryTuning();
    TemporaryTuning(const TemporaryTuning&) = delete;
    TemporaryTuning& operator=(const TemporaryTuning&) = delete;

    const std::string& path() const { return m_path; }

private:
    void create();
    void remove() noexcept;
    std::string m_path;
};

}  // namespace tool
