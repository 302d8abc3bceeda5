#include "tools/stages/Enhancer.h"

#include <chrono>
#include <filesystem>

#include "tools/ToolError.h"
#include "tools/host/PlatformSet.h"
#include "tools/tuning/IniDocument.h"
#include "tools/tuning/StarterTuning.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMaxDirectory = 480;

// The switch of a mode, as the library reads it.
bool switchedOn(const std::string& directory, bool photo) {
    const auto set = IniDocument::load(directory + (photo ? "/photoSet.ini" : "/frameSet.ini"));
    return set && set->integer("switch", photo ? "photoSwitch" : "frameSwitch") == 1;
}

SetUp withReading(SetUp setUp, bool drawsNothing) {
    setUp.readOutput = setUp.readOutput && !drawsNothing;
    return setUp;
}

}  // namespace

void checkTuningPath(const std::string& directory) {
    if (!fs::is_directory(directory)) {
        throw fileError("there is no tuning directory " + directory);
    }
    if (fs::absolute(directory).string().size() > kMaxDirectory) {
        throw fileError("the path of the tuning directory is too long");
    }
}

Enhancer::Enhancer(const HostLibrary& library, const SetUp& setUp)
    : m_library(library),
      m_setUp(setUp),
      m_backEnd(
          iniValue(setUp.tuningDirectory + "/platformSet.ini", "platform", setUp.photo ? "photo" : "frame")),
      m_drawsNothing(m_backEnd == "OGL" && !switchedOn(setUp.tuningDirectory, setUp.photo)),
      m_handle(library, withReading(setUp, m_drawsNothing)) {
    if (m_handle.setUpResult() != 0) {
        refuse("algoInitHandle", m_handle.setUpResult(), false, HostLibrary::takeErrors());
    }
    if (m_handle.supports(setUp.format.type)) {
        return;
    }
    const std::string errors = HostLibrary::takeErrors();
    if (m_handle.release()) {
        throw ToolError(ExitCode::kRefused, "the library refused: the back end '" + m_backEnd +
                                                "' takes no frames of " + toString(setUp.format) +
                                                "; --backend CPU does" + errors);
    }
    refuse("isSupportFormat", 0, true, errors);
}

double Enhancer::process(Frame& frame, int scene) {
    const auto begin = std::chrono::steady_clock::now();
    const int code = m_handle.process(frame, scene);
    const auto end = std::chrono::steady_clock::now();
    if (code != 0) {
        refuse("singleProcessImage", code);
    }
    return std::chrono::duration<double, std::milli>(end - begin).count();
}

void Enhancer::finish() {
    if (!m_handle.release()) {
        refuse("releaseHandle", -1, false, HostLibrary::takeErrors());
    }
}

void Enhancer::refuse(const char* entry, int code) {
    // A back end that the library does not know passes the set-up; only the release tells that nothing was
    // there.
    const std::string errors = HostLibrary::takeErrors();
    const bool noBackEnd = !m_handle.release();
    HostLibrary::takeErrors();
    refuse(entry, code, noBackEnd, errors);
}

void Enhancer::refuse(const char* entry, int code, bool noBackEnd, const std::string& errors) const {
    const bool photo = m_setUp.photo;
    // A set-up that fails may mean a driver that is not there, or a tuning that is wrong: a tuning that is
    // known to be right tells which.
    const bool unavailable = noBackEnd || (code == kInitFailed && !m_backEnd.empty() &&
                                           !backEndRuns(m_library, m_backEnd, photo, writeStarterTuning));
    if (unavailable) {
        throw ToolError(ExitCode::kUnavailable, "the back end '" + m_backEnd + "' is not available for " +
                                                    (photo ? "photos" : "previews") +
                                                    " here ('huevance info' lists what is)" + errors);
    }
    throw ToolError(ExitCode::kRefused, std::string("the library refused: ") + entry + " answered " +
                                            std::to_string(code) + errors);
}

}  // namespace tool
