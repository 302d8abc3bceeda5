// A tuning directory for one run, which leaves nothing behind: another platform choice over somebody's
// tuning.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tool {

class TemporaryTuning {
public:
    // Links to every file of `directory`, except platformSet.ini, which names `backEnd` for both modes and
    // keeps the original's cache directory.
    TemporaryTuning(const std::string& directory, const std::string& backEnd);
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
