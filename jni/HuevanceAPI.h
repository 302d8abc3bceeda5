// The door of the library: sixteen entry points behind one C symbol. This header and those that it includes
// are all that a host needs, in C11 or C++; docs/integrating.md has complete ones.
#pragma once

#include "jni/HuevanceTypes.h"
#include "jni/algocommon/Export.h"

// Vocabulary of the plug-in contract; no entry of this library looks inside.
struct Rect;
struct MultInputImage;

// Result codes of algoInitHandle beside 0.
enum { kInitNoParam = 8192, kInitFailed = 65535 };

// One slot per entry, in the contract's order.
typedef struct AlgoApi {
    // Appends the version tag twice to a process-wide text and returns it; valid until the next call.
    const char* (*getVersion)(void);
    // The log mask: 0 nothing, bit 0 errors, bit 2 information, 255 everything to standard output.
    void (*setLogStatus)(int status);
    // Creates a handle from an InitParam. 0, kInitNoParam, or kInitFailed (then *handle is not written).
    int (*algoInitHandle)(void** handle, void* init);
    int (*debugMode)(void* handle, int mode);
    // 1 when the handle can process frames of this IMAGE_FORMAT_TYPE, else 0.
    int (*isSupportFormat)(void* handle, int format);
    int (*startProcess)(void* handle, void* arg);
    int (*stopProcess)(void* handle, void* arg);
    int (*getProcessImageResult)(void* handle, Image* image, void* arg);
    int (*setParameters)(void* handle, void* params, int count);
    // Processes one frame in place; `param` points to an int, the scene number. 0 or -1; a null handle or
    // image is answered with 0.
    int (*singleProcessImage)(void* handle, Image* image, void* param, void* arg);
    int (*processImage)(void* handle, Image* in, Image* out, void* arg1, void* arg2);
    int (*multiProcessImage)(void* handle, struct MultInputImage* inputs, Image* out, void* arg1, void* arg2,
                             int count);
    int (*fatalErrorStatus)(void* handle, void* arg);
    // Releases a handle, whatever the result: 0 or -1.
    int (*releaseHandle)(void* handle, void* arg);
    int (*dumpImage)(void* handle, const char* path, int flag);
    int (*getMemoryInfo)(void* handle, void* info);
} AlgoApi;

static_assert(sizeof(AlgoApi) == 16 * sizeof(void*), "fixed");

#ifdef __cplusplus
extern "C" {
#endif
// Fills the table; a null table is ignored. Always 0.
HUEVANCE_EXPORT int get_algo_api(AlgoApi* table);
#ifdef __cplusplus
}

// In no slot of the table; answered as not supported, with 0.
HUEVANCE_EXPORT int processImage(void* handle, Image* image, Rect* rect);
HUEVANCE_EXPORT int parametersCallback(void* handle, void* arg);
#endif
