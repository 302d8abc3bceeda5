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
    std::vector<std::string> reasons;
    for (const std::string& path : candidatePaths()) {
        if (LoadLibraryFromPath(path)) {
            return true;
        }
        const char* reason = dlerror();
        reasons.push_back(path + ": " + (reason != nullptr ? reason : "unknown"));
    }
    // Not before: that the first place has none is no error where the second has.
    for (const std::string& reason : reasons) {
        ALOG_ERROR("OpenCL driver cannot be loaded from %s", reason.c_str());
    }
    return false;
}

bool OpenCLSymbols::LoadLibraryFromPath(const std::string& path) {
    void* const library = dlopen(path.c_str(), RTLD_NOW);
    if (library == nullptr) {
        return false;
    }
    if (m_handle != nullptr) {
        dlclose(m_handle);
    }
    m_handle = library;
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
    // The process sees the table only when it is whole: memory may be missing on the way.
    auto symbols = std::make_shared<OpenCLSymbols>();
    if (symbols->LoadOpenCLLibrary()) {
        gOpenclSymbols() = std::move(symbols);
    }
}

}  // namespace MNN

namespace {

// The function in `slot` of the process's table; when there is none, null and a line with the forwarder's
// number. The file in it is this one, where the forwarders are, not the list.
template <typename Function>
Function bound(Function MNN::OpenCLSymbols::*slot, int number) {
    const MNN::OpenCLSymbols* table = MNN::OpenCLSymbolsOperator::getOpenclSymbolsPtr();
    const Function function = table != nullptr ? table->*slot : nullptr;
    if (function == nullptr) {
        ALOG_ERROR("Error for %s, %d\n", __FILE__, number);
    }
    return function;
}

}  // namespace

// The forwarders. All of them stand on the line of the #include below; the number that tells them apart in
// the log is the line of their entry in the list.
extern "C" {
#define HUEVANCE_CL_ENTRY(name, arguments)                                                              \
    opencl::Result<decltype(::name)> name(HUEVANCE_CL_PARAMETERS_##arguments(name)) {                   \
        if (const auto function = bound(&MNN::OpenCLSymbols::name, __LINE__)) {                         \
            return function(HUEVANCE_CL_ARGUMENTS_##arguments);                                         \
        }                                                                                               \
        return opencl::failedCall<opencl::Result<decltype(::name)>>(CL_INVALID_OPERATION,               \
                                                                    HUEVANCE_CL_ARGUMENTS_##arguments); \
    }
#include "jni/opticommon/symb/OpenCLEntries.inc"
}
