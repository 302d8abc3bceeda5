// The library set up for frames of one geometry, with failures in the words of the command line.
#pragma once

#include <string>

#include "tools/host/HostLibrary.h"

namespace tool {

class Enhancer {
public:
    // Throws with exit code 5 when the tuning's back end cannot run here, with 4 for what else the library
    // refuses. `library` and `setUp.mask` must live as long as this.
    Enhancer(const HostLibrary& library, const SetUp& setUp);
    ~Enhancer() = default;
    Enhancer(const Enhancer&) = delete;
    Enhancer& operator=(const Enhancer&) = delete;

    // One frame of the set-up's geometry and format, in place. Gives the milliseconds that the library took;
    // throws as above.
    double process(Frame& frame, int scene);
    // Gives the handle back; call it after the last frame, for what the library says only then.
    void finish();

    // As platformSet.ini names it.
    const std::string& backEnd() const { return m_backEnd; }
    // The mode's switch is off and the back end is OGL, which then draws nothing: frames stay as they are.
    bool drawsNothing() const { return m_drawsNothing; }

private:
    [[noreturn]] void refuse(const char* entry, int code, bool noBackEnd, const std::string& errors) const;
    [[noreturn]] void refuse(const char* entry, int code);

    const HostLibrary& m_library;
    SetUp m_setUp;
    std::string m_backEnd;
    bool m_drawsNothing;
    HostHandle m_handle;
};

// Longest tuning directory: the library ends the process when directory and file name exceed 511 characters.
// Throws (exit code 3) for a longer one, and for what is no directory.
void checkTuningPath(const std::string& directory);

}  // namespace tool
