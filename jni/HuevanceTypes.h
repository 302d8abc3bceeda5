// Records that the host fills. These layouts are shared with hosts that were compiled elsewhere: they never
// change.
#pragma once

#include <assert.h>
#include <stddef.h>

#include "jni/algocommon/ImageTypes.h"

// Which path a handle drives.
enum { kFrameMode = 0, kPhotoMode = 1 };

// The set-up record, read by algoInitHandle. The tuning directory is "<directory1>/<directory2>".
typedef struct InitParam {
    int reserved;        // not read
    int dataBit;         // significant bits per sample: 8, or 10 to 16
    int framePhotoFlag;  // kFrameMode or kPhotoMode; any other value is refused
    const char* directory1;
    const char* directory2;
    RoiInfo imageRoi;         // geometry of the frames that will be processed
    RoiInfo portraitMaskRoi;  // geometry of the portrait mask, stride in bytes
    void* portraitMask;       // one float per luma pixel, 0 (no protection) to 1; not copied, not owned
} InitParam;

// A run-time parameter: the back ends interpret the key, `value` points to the data.
typedef struct ExtParam {
    const char* key;
    void* value;
} ExtParam;

static_assert(offsetof(InitParam, dataBit) == 4 && offsetof(InitParam, framePhotoFlag) == 8, "fixed");
static_assert(offsetof(InitParam, directory1) == 16 && offsetof(InitParam, directory2) == 24, "fixed");
static_assert(offsetof(InitParam, imageRoi) == 32 && offsetof(InitParam, portraitMaskRoi) == 48, "fixed");
static_assert(offsetof(InitParam, portraitMask) == 64 && sizeof(InitParam) == 72, "fixed");
static_assert(offsetof(ExtParam, value) == 8 && sizeof(ExtParam) == 16, "fixed");
