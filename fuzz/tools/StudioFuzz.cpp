// Requests to `huevance studio`, without sockets (see StudioProbe).
#include <cstdio>
#include <cstdlib>

#include "fuzz/Input.h"
#include "tests/tools/StudioBench.h"

const tool::HostLibrary& test::studioLibrary() {
    static const tool::HostLibrary library(get_algo_api);
    return library;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::begin();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static test::StudioProbe probe;
    const std::string wrong = probe.ask(std::string(reinterpret_cast<const char*>(data), size));
    if (!wrong.empty()) {
        std::fprintf(stderr, "%s\n", wrong.c_str());
        std::abort();
    }
    fuzz::closeLeftOpen();
    return 0;
}
