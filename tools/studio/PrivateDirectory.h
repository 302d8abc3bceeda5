// A directory for one session, on the fastest place there is, which nobody else may enter.
#pragma once

#include <string>

namespace tool {

class PrivateDirectory {
public:
    // In TMPDIR where that is set, else in memory, else where temporary files are. Throws (exit code 3).
    PrivateDirectory();
    ~PrivateDirectory() { remove(); }
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    const std::string& path() const { return m_path; }
    // With all that is in it, links not followed. Whoever still writes there fails.
    void remove() noexcept;

private:
    std::string m_path;
    bool m_removed = false;
};

}  // namespace tool
