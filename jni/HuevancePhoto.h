// The photo (capture) dispatch family: a platform name, compared as a whole and with its case, chooses the
// back end of every operation. A name that the family does not know, and "GPU", which has no capture path,
// are answered with 0 and no action. All return 0, the back end's failure code, or -1 for a null object or
// record.
#pragma once

#include "jni/HuevanceTypes.h"
#include "jni/algocommon/Export.h"

HUEVANCE_EXPORT int HuevancePhotoMalloc(char* platform, char* directory, RoiInfo size, int dataBit,
                                        void** handle);
HUEVANCE_EXPORT int HuevancePhotoSetExtParam(char* platform, void* handle, ExtParam* param);
HUEVANCE_EXPORT int HuevancePhotoProcess(char* platform, void* handle, Image* image, int scene);
HUEVANCE_EXPORT int HuevancePhotoFree(char* platform, void* handle);

// One shim for each back end and operation. Malloc: `directory` is the tuning directory; *handle receives the
// object, or null on failure. Process: `data` is the frame, luma first. Free deletes the object when its
// release succeeded.
HUEVANCE_EXPORT int HuevancePhotoMalloc_CPU(char* directory, RoiInfo size, int dataBit, void** handle);
HUEVANCE_EXPORT int HuevancePhotoSetExtParam_CPU(void* handle, char* key, void* value);
HUEVANCE_EXPORT int HuevancePhotoProcess_CPU(void* handle, void* data, IMAGE_FORMAT_TYPE format, int scene);
HUEVANCE_EXPORT int HuevancePhotoFree_CPU(void* handle);
HUEVANCE_EXPORT int HuevancePhotoMalloc_NEON(char* directory, RoiInfo size, int dataBit, void** handle);
HUEVANCE_EXPORT int HuevancePhotoSetExtParam_NEON(void* handle, char* key, void* value);
HUEVANCE_EXPORT int HuevancePhotoProcess_NEON(void* handle, void* data, IMAGE_FORMAT_TYPE format, int scene);
HUEVANCE_EXPORT int HuevancePhotoFree_NEON(void* handle);

// Process: `hardwareBuffer` is the output's AHardwareBuffer.
HUEVANCE_EXPORT int HuevancePhotoMalloc_OGL(char* directory, RoiInfo size, int dataBit, void** handle);
HUEVANCE_EXPORT int HuevancePhotoSetExtParam_OGL(void* handle, char* key, void* value);
HUEVANCE_EXPORT int HuevancePhotoProcess_OGL(void* handle, void* data, void* hardwareBuffer,
                                             IMAGE_FORMAT_TYPE format, int scene);
HUEVANCE_EXPORT int HuevancePhotoFree_OGL(void* handle);
