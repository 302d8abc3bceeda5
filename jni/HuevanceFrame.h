// The frame (preview) dispatch family: a platform name, compared as a whole and with its case, chooses the
// back end of every operation. A name that the family does not know is answered with 0 and no action. All
// return 0, the back end's failure code, or -1 for a null object or record; HuevanceFrameSetExtParam always
// returns 0.
#pragma once

#include "jni/HuevanceTypes.h"
#include "jni/algocommon/Export.h"

// `cachePath` is a directory for GPU program binaries; the other back ends ignore it.
HUEVANCE_EXPORT int HuevanceFrameMalloc(char* platform, char* directory, RoiInfo size, int dataBit,
                                        char* cachePath, void** handle);
HUEVANCE_EXPORT int HuevanceFrameSetExtParam(char* platform, void* handle, ExtParam* param);
HUEVANCE_EXPORT int HuevanceFrameProcess(char* platform, void* handle, Image* image, int scene);
HUEVANCE_EXPORT int HuevanceFrameFree(char* platform, void* handle);

// One shim for each back end and operation. Malloc: `directory` is the tuning directory; *handle receives the
// object, or null on failure. Process: `data` is the frame, luma first. Free deletes the object when its
// release succeeded.
HUEVANCE_EXPORT int HuevanceFrameMalloc_CPU(char* directory, RoiInfo size, int dataBit, void** handle);
HUEVANCE_EXPORT int HuevanceFrameSetExtParam_CPU(void* handle, char* key, void* value);
HUEVANCE_EXPORT int HuevanceFrameProcess_CPU(void* handle, void* data, IMAGE_FORMAT_TYPE format, int scene);
HUEVANCE_EXPORT int HuevanceFrameFree_CPU(void* handle);

// `fd` is the frame's buffer descriptor, negative when it has none.
HUEVANCE_EXPORT int HuevanceFrameMalloc_GPU(char* directory, RoiInfo size, int dataBit, char* cachePath,
                                            void** handle);
HUEVANCE_EXPORT int HuevanceFrameSetExtParam_GPU(void* handle, char* key, void* value);
HUEVANCE_EXPORT int HuevanceFrameProcess_GPU(void* handle, void* data, int fd, IMAGE_FORMAT_TYPE format,
                                             int scene);
HUEVANCE_EXPORT int HuevanceFrameFree_GPU(void* handle);

// `hardwareBuffer` is the output's AHardwareBuffer; the cache path and `fd` are not used.
HUEVANCE_EXPORT int HuevanceFrameMalloc_OGL(char* directory, RoiInfo size, int dataBit, char* cachePath,
                                            void** handle);
HUEVANCE_EXPORT int HuevanceFrameSetExtParam_OGL(void* handle, char* key, void* value);
HUEVANCE_EXPORT int HuevanceFrameProcess_OGL(void* handle, void* data, int fd, void* hardwareBuffer,
                                             IMAGE_FORMAT_TYPE format, int scene);
HUEVANCE_EXPORT int HuevanceFrameFree_OGL(void* handle);
