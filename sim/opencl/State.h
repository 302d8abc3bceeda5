// What the simulated driver remembers: settings, faults, counts, live objects, and the arguments of kernels.
#pragma once

#include <sim/opencl.h>

#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "jni/opticommon/symb/OpenCL.h"

namespace sim {

enum class Kind { kContext, kQueue, kProgram, kKernel, kMemory, kSvm, kSampler };
inline constexpr const char* kKindNames[] = {"context", "queue", "program", "kernel",
                                             "memory",  "svm",   "sampler"};
inline constexpr int kKinds = 7;

struct KernelArgument {
    std::vector<unsigned char> bytes;
    bool svm = false;
};

// What a buffer wraps in a strict driver.
struct HostMemory {
    unsigned char* address = nullptr;
    std::size_t mappedAt = 0;
    std::size_t mapped = 0;  // bytes to take over when it is unmapped
};

struct SvmBlock {
    std::size_t size = 0;
    bool fine = false;
    bool mapped = false;
};

class State {
public:
    static State& get();

    void reset();

    // Counts a call of the entry point at `index` of the list; the code to fail it with, if it is to fail.
    std::optional<cl_int> enter(int index);

    void created(Kind kind, const void* object);
    void retained(Kind kind, const void* object);
    void released(Kind kind, const void* object);
    // False, and a violation, for what is not alive; null is the system's to answer.
    bool mayRelease(Kind kind, const void* object);
    int live(Kind kind) const;

    void violate(const std::string& what);

    // The block that holds an address, or null.
    SvmBlock* svmAt(const void* address);
    // Whether an argument of the kernel lies in a block that the host has mapped.
    bool usesMappedSvm(const void* kernel);

    mutable std::mutex mutex;  // held by every function of the layer while it touches the rest

    int svmLevel = -1;
    bool strict = strictByDefault();
    std::optional<std::string> extensions;
    std::optional<std::string> driverVersion;
    std::string violation;

    struct Fault {
        int callsUntil = 0;
        int code = 0;
    };
    std::map<int, Fault> faults;
    std::map<int, int> calls;
    std::map<const void*, SvmBlock> svm;
    std::map<const void*, HostMemory> wrapped;
    std::map<const void*, std::map<cl_uint, KernelArgument>> kernelArguments;

private:
    static bool strictByDefault();
    std::map<const void*, int> m_references[kKinds];
};

}  // namespace sim
