#include "jni/HuevanceAPI.h"

#include <new>
#include <string>

#include "jni/Huevance.h"
#include "jni/algocommon/LogPrintf.h"

namespace {

constexpr const char* kVersionTag = "SDK_BASE_20200330_version_1.0";
std::string g_version;

const char* getVersion() {
    // On purpose: the tag is appended twice, and the text grows with every call.
    g_version += kVersionTag;
    g_version += kVersionTag;
    return g_version.c_str();
}

void setLogStatus(int status) { LogPrintf::setLogStatus(status); }

int algoInitHandle(void** handle, void* init) {
    // On purpose: the object comes first, and is neither freed nor handed out when set-up fails.
    auto* huevance = new (std::nothrow) Huevance;
    if (init == nullptr) {
        LOG_ERROR("out of memory");
        return kInitNoParam;
    }
    if (huevance == nullptr || huevance->HuevanceMalloc(static_cast<InitParam*>(init)) != 0) {
        LOG_ERROR("algoInitHandle: HuevanceMalloc failed");
        return kInitFailed;
    }
    if (handle == nullptr) {
        LOG_ERROR("algoInitHandle: handle is null");
        huevance->HuevanceFree();
        delete huevance;
        return kInitFailed;
    }
    *handle = huevance;
    return 0;
}

int isSupportFormat(void* handle, int format) {
    if (handle == nullptr) {
        LOG_ERROR("pHandle is null");
        return 0;
    }
    return static_cast<Huevance*>(handle)->isSupportFormat(format);
}

int singleProcessImage(void* handle, Image* image, void* param, void* /*arg*/) {
    if (handle == nullptr || image == nullptr) {
        LOG_ERROR("pHuevance %p pImage %p", handle, static_cast<void*>(image));
        return 0;  // on purpose: the host is not told
    }
    if (param == nullptr) {
        LOG_ERROR("the scene number is missing");
        return -1;
    }
    return static_cast<Huevance*>(handle)->HuevanceProcess(image, *static_cast<const int*>(param));
}

int releaseHandle(void* handle, void* /*arg*/) {
    if (handle == nullptr) {
        LOG_ERROR("pHandle is null");
        return 0;
    }
    auto* huevance = static_cast<Huevance*>(handle);
    const int result = huevance->HuevanceFree();
    delete huevance;
    return result;
}

// The entries that this library does not support: each logs under its own name and answers 0.
#define NOT_SUPPORTED(name, ...)               \
    int name(__VA_ARGS__) {                    \
        LOG_ERROR("the function not support"); \
        return 0;                              \
    }
NOT_SUPPORTED(debugMode, void*, int)
NOT_SUPPORTED(startProcess, void*, void*)
NOT_SUPPORTED(stopProcess, void*, void*)
NOT_SUPPORTED(getProcessImageResult, void*, Image*, void*)
NOT_SUPPORTED(setParameters, void*, void*, int)
NOT_SUPPORTED(processImage, void*, Image*, Image*, void*, void*)
NOT_SUPPORTED(multiProcessImage, void*, MultInputImage*, Image*, void*, void*, int)
NOT_SUPPORTED(fatalErrorStatus, void*, void*)
NOT_SUPPORTED(dumpImage, void*, const char*, int)
NOT_SUPPORTED(getMemoryInfo, void*, void*)

}  // namespace

NOT_SUPPORTED(processImage, void*, Image*, Rect*)
NOT_SUPPORTED(parametersCallback, void*, void*)
#undef NOT_SUPPORTED

extern "C" int get_algo_api(AlgoApi* table) {
    if (table != nullptr) {
        *table = {getVersion,
                  setLogStatus,
                  algoInitHandle,
                  debugMode,
                  isSupportFormat,
                  startProcess,
                  stopProcess,
                  getProcessImageResult,
                  setParameters,
                  singleProcessImage,
                  static_cast<int (*)(void*, Image*, Image*, void*, void*)>(processImage),
                  multiProcessImage,
                  fatalErrorStatus,
                  releaseHandle,
                  dumpImage,
                  getMemoryInfo};
    }
    return 0;
}
