// libHuevance.so as a camera host sees it: one symbol, a table, handles.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/host/Frame.h"
#include "tools/host/OutputBuffer.h"

namespace tool {

class HostLibrary {
public:
    // `path` empty: libHuevance.so beside this program. Without `verbose` the library's log lines are kept
    // for error messages instead of being shown. Throws (exit code 3) when there is no such library.
    explicit HostLibrary(const std::string& path, bool verbose);

    // A library that is part of this program, by its one symbol. Its log goes where the program says.
    explicit HostLibrary(int (*getApi)(AlgoApi*));

    const std::string& path() const { return m_path; }
    const AlgoApi& api() const { return m_api; }
    // As from dlopen.
    void* get() const { return m_library; }
    // The plug-in contract's version tag, once.
    std::string version() const;

    // The error lines that the library logged since the last call, each once, one text; empty when they were
    // shown already.
    static std::string takeErrors();

private:
    std::string m_path;
    void* m_library = nullptr;
    AlgoApi m_api{};
};

// What one frame's trip through the library gave.
enum class Outcome { kGood, kRefused, kNoBackEnd };

struct SetUp {
    bool photo = true;
    std::string tuningDirectory;
    RoiInfo roi{};
    FrameFormat format;
    std::vector<float>* mask = nullptr;  // roi.width x roi.height weights; must live as long as the handle
    bool readOutput = true;  // false: what a back end draws into a buffer of its own is not fetched
};

// One handle. Outcomes are the contract's: the caller turns them into messages.
class HostHandle {
public:
    HostHandle(const HostLibrary& library, const SetUp& setUp);
    ~HostHandle();
    HostHandle(const HostHandle&) = delete;
    HostHandle& operator=(const HostHandle&) = delete;

    // Result code of the set-up: 0, or nothing else may be called.
    int setUpResult() const { return m_setUpResult; }
    bool supports(IMAGE_FORMAT_TYPE type) const;
    // 0 or the library's code.
    int process(Frame& frame, int scene);
    // Gives the handle back early. False when there was no back end behind it: a name that the library does
    // not know passes the set-up, and shows only here.
    bool release();

private:
    const AlgoApi& m_api;
    InitParam m_init{};
    void* m_handle = nullptr;
    int m_setUpResult = 0;
    bool m_readOutput = true;
    std::unique_ptr<OutputBuffer> m_output;  // of a back end that draws into a hardware buffer
};

// Whether a back end can run here in a mode: a small frame comes back changed, with the tuning that
// `writeTuning(directory, backEnd)` makes.
bool backEndRuns(const HostLibrary& library, const std::string& backEnd, bool photo,
                 const std::function<void(const std::string&, const std::string&)>& writeTuning);

}  // namespace tool
