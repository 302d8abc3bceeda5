#include "jni/opticommon/symb/OpenCLSymbol.h"

#include <dlfcn.h>

#include "jni/algocommon/LogPrintf.h"
#include "jni/opticommon/symb/OpenCLSignature.h"

namespace MNN {

std::vector<std::string>& OpenCLSymbols::candidatePaths() {
    static std::vector<std::string> paths = {"/system/vendor/lib64/libOpenCL.so",
                                             "/vendor/lib64/libOpenCL.so", "libOpenCL.so", "libOpenCL.so.1"};
    return paths;
}

bool OpenCLSymbols::LoadOpenCLLibrary() {
    if (m_handle != nullptr) {
        return true;
    }
    for (const std::string& path : candidatePaths()) {
        if (LoadLibraryFromPath(path)) {
            return true;
        }
    }
    return false;
}

bool OpenCLSymbols::LoadLibraryFromPath(const std::string& path) {
    m_handle = dlopen(path.c_str(), RTLD_NOW);
    if (m_handle == nullptr) {
        return false;
    }
#define HUEVANCE_CL_ENTRY(name, arguments) name = reinterpret_cast<decltype(&::name)>(dlsym(m_handle, #name));
#include "jni/opticommon/symb/OpenCLEntries.inc"
    return true;
}

bool OpenCLSymbols::UnLoadOpenCLLibrary() {
    if (m_handle == nullptr) {
        return true;
    }
    if (dlclose(m_handle) != 0) {
        return false;
    }
    m_handle = nullptr;
#define HUEVANCE_CL_ENTRY(name, arguments) name = nullptr;
#include "jni/opticommon/symb/OpenCLEntries.inc"
    return true;
}

std::shared_ptr<OpenCLSymbols>& OpenCLSymbolsOperator::gOpenclSymbols() {
    // Never destroyed, so that a call during the process's exit still finds it.
    static auto& table = *new std::shared_ptr<OpenCLSymbols>;
    return table;
}

OpenCLSymbolsOperator::OpenCLSymbolsOperator() {
    if (gOpenclSymbols() != nullptr) {
        return;
    }
    gOpenclSymbols() = std::make_shared<OpenCLSymbols>();
    if (!gOpenclSymbols()->LoadOpenCLLibrary()) {
        gOpenclSymbols().reset();
    }
}

}  // namespace MNN

namespace {

// The function in `slot` of the process's table; when there is none, null and a line about the forwarder at
// `line`.
template <typename Function>
Function bound(Function MNN::OpenCLSymbols::*slot, const char* file, int line) {
    const MNN::OpenCLSymbols* table = MNN::OpenCLSymbolsOperator::getOpenclSymbolsPtr();
    const Function function = table != nullptr ? table->*slot : nullptr;
    if (function == nullptr) {
        ALOG_ERROR("Error for %s, %d\n", file, line);
    }
    return function;
}

}  // namespace

// The forwarders.
extern "C" {
#define HUEVANCE_CL_ENTRY(name, arguments)                                                              \
    opencl::Result<decltype(::name)> name(HUEVANCE_CL_PARAMETERS_##arguments(name)) {                   \
        if (const auto function = bound(&MNN::OpenCLSymbols::name, __FILE__, __LINE__)) {               \
            return function(HUEVANCE_CL_ARGUMENTS_##arguments);                                         \
        }                                                                                               \
        return opencl::failedCall<opencl::Result<decltype(::name)>>(CL_INVALID_OPERATION,               \
                                                                    HUEVANCE_CL_ARGUMENTS_##arguments); \
    }
#include "jni/opticommon/symb/OpenCLEntries.inc"
}
