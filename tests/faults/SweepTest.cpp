// Every call of every kind fails in turn, in a life of every back end. HUEVANCE_SWEEP_SECONDS bounds the time
// for each back end and kind (1; 0: none, all of them are tried), in an order that spreads what is tried.
#include <gtest/gtest.h>
#include <sim/gl.h>
#include <sim/opencl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>

#include "tests/faults/Calls.h"
#include "tests/faults/Scenario.h"
#include "tests/support/StdoutCapture.h"

namespace faults {
namespace {

const char* const kClEntries[] = {
#define HUEVANCE_CL_ENTRY(name, arguments) #name,
#include "jni/opticommon/symb/OpenCLEntries.inc"
};
const char* const kEglEntries[] = {
#define EGL_ENTRY(result, name, parameters, arguments) #name,
#include "sim/gl/EglEntries.inc"
    "eglGetNativeClientBufferANDROID",
    "eglCreateImageKHR",
};
const char* const kGlEntries[] = {
#define GL_ENTRY(result, name, parameters, arguments) #name,
#include "sim/gl/GlEntries.inc"
};

struct Fault {
    std::string what;
    std::function<void()> arm;
};

// The kinds of faults: all faults of the kind that a life of the back end can have; it has just lived one,
// from reset counters on.
struct KindOfFault {
    const char* name;
    std::function<std::vector<Fault>()> faults;
    Duty duty = Duty::kLine;
    bool (BackEnd::*concerns)() const = nullptr;  // which back ends; all of them
    bool always = false;                          // all faults of it, however long it takes
};

std::vector<Fault> counted(Kind kind, Way way) {
    std::vector<Fault> faults;
    for (int n = 1; n <= disarm(kind); ++n) {
        faults.push_back({std::to_string(n), [=] { arm(kind, n, way); }});
    }
    return faults;
}

// Of every entry point but those whose names contain one of the words.
template <typename Fail>
std::vector<Fault> ofEntries(const auto& entries, int (*calls)(const char*),
                             std::initializer_list<const char*> words, Fail fail) {
    std::vector<Fault> faults;
    bool more = true;
    for (int n = 1; more; ++n) {  // the first call of each, then the second ...
        more = false;
        for (const char* entry : entries) {
            const bool left = std::any_of(words.begin(), words.end(), [entry](const char* word) {
                return std::strstr(entry, word) != nullptr;
            });
            if (!left && n <= calls(entry)) {
                faults.push_back({entry + (" " + std::to_string(n)), [=] { fail(entry, n); }});
                more = true;
            }
        }
    }
    return faults;
}

std::vector<Fault> gl(int code) {
    return ofEntries(kGlEntries, sim_gl_calls, {},
                     [code](const char* entry, int n) { sim_gl_fail(entry, n, code); });
}

int g_untilLoss = 0;

std::vector<Fault> contextLoss() {
    std::vector<Fault> faults;
    int calls = 0;
    for (const char* entry : kGlEntries) {
        calls += sim_gl_calls(entry);
    }
    for (int n = 1; n <= calls; ++n) {
        faults.push_back({"before call " + std::to_string(n), [n] {
                              g_untilLoss = n;
                              sim_gl_set_call_sink(
                                  [](void*, const char* call) {
                                      if (std::strncmp(call, "egl", 3) != 0 && --g_untilLoss == 0) {
                                          sim_gl_lose_contexts();
                                      }
                                  },
                                  nullptr);
                          }});
    }
    return faults;
}

const KindOfFault kKinds[] = {
    {"Allocation", [] { return counted(Kind::kAllocation, Way::kOnce); }, Duty::kLine, nullptr, true},
    {"AllAllocationsFrom", [] { return counted(Kind::kAllocation, Way::kFromThereOn); }},
    {"FileCall", [] { return counted(Kind::kFile, Way::kOnce); }, Duty::kNothing},
    {"AllFileCallsFrom", [] { return counted(Kind::kFile, Way::kFromThereOn); }, Duty::kNothing},
    {"FileEnds", [] { return counted(Kind::kFile, Way::kSilently); }, Duty::kNothing},
    {"OpenCL",
     [] {
         // What a driver refuses to release stays.
         return ofEntries(kClEntries, sim_opencl_calls, {"Release", "SVMFree"},
                          [](const char* entry, int n) { sim_opencl_fail(entry, n, -5); });
     },
     Duty::kLine, &BackEnd::isGpu},
    {"EGL",
     [] {
         return ofEntries(kEglEntries, sim_gl_calls, {"eglTerminate"},
                          [](const char* entry, int n) { sim_gl_fail(entry, n, 0x3003); });
     },
     Duty::kRefusal, &BackEnd::isOgl},
    {"GL", [] { return gl(0x0505); }, Duty::kRefusal, &BackEnd::isOgl},
    {"GLDoesNothing", [] { return gl(0); }, Duty::kNothing, &BackEnd::isOgl},
    {"ContextLost", contextLoss, Duty::kRefusal, &BackEnd::isOgl},
    {"HardwareBuffer",
     [] {
         std::vector<Fault> faults;
         for (int n = 1; n <= Life::kFrames; ++n) {
             faults.push_back({"lock " + std::to_string(n), [n] { sim_hardware_buffer_fail("lock", n); }});
         }
         return faults;
     },
     Duty::kNothing, &BackEnd::isOgl},
};

void reset() {
    sim_opencl_reset();
    sim_gl_reset();
    sim_gl_set_call_sink(nullptr, nullptr);
    sim_hardware_buffer_fail("lock", 0);
    arm(Kind::kAllocation, 0);
    arm(Kind::kFile, 0);
}

// One row of the table of results.
struct Tally {
    std::size_t faults = 0;
    int tried = 0, refused = 0, leaks = 0, complaints = 0, recovered = 0;

    void print(const std::string& name) const {
        std::fprintf(stderr,
                     "SWEEP %-34s faults %5zu tried %5d refused %5d leaks %d complaints %d recovered %5d\n",
                     name.c_str(), faults, tried, refused, leaks, complaints, recovered);
    }
};

// A process binds drivers and makes its engines once: each allocation fails in a process of its own, which
// has not lived before. Those after the first find its caches.
class FirstLife : public testing::TestWithParam<BackEnd> {
protected:
    struct Shared {
        bool missing;  // no driver
        int calls;
        std::uint64_t pictures;
    };
    static std::uint64_t hash(const Life& life) {
        std::vector<unsigned char> all;
        for (const auto& picture : life.pictures) {
            all.insert(all.end(), picture.begin(), picture.end());
        }
        return test::hashBytes(all.data(), all.size());
    }
    // Ends the process, with 0 when all was well.
    [[noreturn]] void liveWithout(int nth) {
        alarm(kHangSeconds);
        m_shared->missing = !canRun(GetParam());
        arm(Kind::kAllocation, nth);
        const Life life = m_shared->missing ? Life() : scenario.live();
        if (nth == 0) {
            m_shared->calls = disarm(Kind::kAllocation);
            m_shared->pictures = hash(life);
            _exit(life.setUp);
        }
        disarm(Kind::kAllocation);
        const Life next = scenario.live();
        std::string complaint = scenario.complaint(life, next, Duty::kLine);
        complaint += next.setUp != 0 || hash(next) != m_shared->pictures ? "; no recovery" : "";
        std::fprintf(stderr, "%s", complaint.c_str());
        _exit(complaint.empty() ? 0 : 1);
    }
    int exitCode(int nth) {
        const pid_t child = fork();
        if (child == 0) {
            liveWithout(nth);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return status;
    }
    Scenario scenario{GetParam()};
    Shared* m_shared = static_cast<Shared*>(
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
};

TEST_P(FirstLife, EveryAllocationMayFail) {
    ASSERT_EQ(exitCode(0), 0);
    if (m_shared->missing) {
        GTEST_SKIP() << "no driver on this system";
    }
    Tally tally = {static_cast<std::size_t>(m_shared->calls)};
    tally.tried = spread(tally.faults, [&](std::size_t i) {
        const int code = exitCode(static_cast<int>(i) + 1);
        EXPECT_EQ(code, 0) << "allocation " << i + 1;
        ++(code == 0 ? tally.recovered : tally.complaints);
    });
    tally.print(std::string(GetParam().name) + "_FirstLife");
}
INSTANTIATE_TEST_SUITE_P(, FirstLife, testing::ValuesIn(ofOneSharedMemory()),
                         [](const auto& backEnd) { return std::string(backEnd.param.name); });

using Case = std::pair<BackEnd, const KindOfFault*>;
std::string nameOf(const testing::TestParamInfo<Case>& info) {
    return std::string(info.param.first.name) + "_" + info.param.second->name;
}

class Sweep : public testing::TestWithParam<Case> {
protected:
    void SetUp() override {
        if (!canRun(GetParam().first)) {
            GTEST_SKIP() << "no driver on this system";
        }
        reset();
    }
    void TearDown() override {
        alarm(0);
        reset();
        EXPECT_EQ(m_complaints, "");
    }
    std::string m_complaints;
};

TEST_P(Sweep, EveryCallMayFail) {
    const auto& backEnd = std::get<0>(GetParam());
    const auto& kind = std::get<1>(GetParam());  // not a structured binding: lambdas use it
    const test::StdoutCapture output;
    Scenario scenario(backEnd);
    Life reference = scenario.live();  // binds drivers, compiles, fills caches
    reset();
    reference = scenario.live();
    ASSERT_EQ(reference.setUp, 0);
    for (const int code : reference.codes) {
        ASSERT_EQ(code, 0);
    }
    ASSERT_TRUE(reference.touched[0] && reference.touched[2] && !reference.padded[0]);
    const std::vector<Fault> faults = kind->faults();
    const int blocks = liveBlocks();
    const std::string alive = scenario.alive();
    Tally tally = {faults.size()};
    const auto complain = [&](const Fault& fault, const std::string& complaint) {
        m_complaints += fault.what + ": " + complaint + "\n";
        return 1;
    };
    const auto tryOne = [&](std::size_t i) {
        alarm(kHangSeconds);
        reset();
        faults[i].arm();
        const Life life = scenario.live();
        reset();
        tally.refused += life.setUp != 0 || life.codes[0] != 0 || life.codes[1] != 0 || life.codes[2] != 0;
        std::string complaint = scenario.complaint(life, reference, kind->duty);
        // What a device does not tell it does not have.
        if (faults[i].what.starts_with("cl") && !faults[i].what.starts_with("clGetDeviceInfo") &&
            !life.said(reference)) {
            complaint += "nothing was said";
        }
        tally.complaints += complaint.empty() ? 0 : complain(faults[i], complaint);
        const Life next = scenario.live();
        if (next.setUp == 0 && scenario.complaint(next, reference, Duty::kLine).empty() &&
            std::equal(next.pictures, next.pictures + Life::kFrames, reference.pictures)) {
            ++tally.recovered;
        } else {
            complain(faults[i], "no recovery: " + scenario.complaint(next, reference, Duty::kLine));
        }
        // A set-up that fails leaves its handle object, on purpose, where there is one. (Looked for after the
        // next life: an engine may keep a block.)
        const int left = liveBlocks() - blocks;
        if (scenario.alive() != alive || left < 0 || left > (life.setUp != 0 ? 1 : 0)) {
            tally.leaks += complain(
                faults[i], std::to_string(left) + " blocks, " + scenario.alive() + " beside " + alive);
        }
        forgetBlocks(left);
    };
    tally.tried = spread(faults.size(), tryOne, kind->always);
    tally.print(nameOf({GetParam(), 0}));
}

std::vector<Case> cases() {
    std::vector<Case> all;
    for (const BackEnd& backEnd : kBackEnds) {
        for (const KindOfFault& kind : kKinds) {
            const bool any = kind.concerns == nullptr;
            // With another kind of memory, for OpenCL's calls alone.
            if (any ? backEnd.svm == 1 : (backEnd.*kind.concerns)()) {
                all.emplace_back(backEnd, &kind);
            }
        }
    }
    return all;
}
INSTANTIATE_TEST_SUITE_P(, Sweep, testing::ValuesIn(cases()), nameOf);

}  // namespace
}  // namespace faults
