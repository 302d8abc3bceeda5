// The object behind a host's handle: reads the platform choice, creates that back end's object through the
// dispatch families, and forwards every later call to it. One caller at a time.
#pragma once

#include "jni/HuevanceTypes.h"

class Huevance {
public:
    virtual ~Huevance() = default;

    // Sets the object up from the host's record. 0, or -1 with one error line; a failure undoes no earlier
    // step.
    int HuevanceMalloc(InitParam* init);
    // Passes one parameter on. 0 or -1; a failure of the preview back end is not reported, on purpose.
    int HuevanceSetExtParam(ExtParam* param);
    // Processes one frame in place for a host scene number. 0 or -1.
    int HuevanceProcess(Image* image, int scene);
    // Releases the back end. 0 or -1.
    int HuevanceFree();
    // 1 when frames of this IMAGE_FORMAT_TYPE can be processed, else 0.
    int isSupportFormat(int format);

private:
    friend struct HuevanceLayout;

    int mallocPhoto(const InitParam& init, char* directory, const char* platformFile);
    int mallocFrame(const InitParam& init, char* directory, const char* platformFile);

    void* m_hvcHandle = nullptr;   // the back end's object; written by its Malloc alone
    char m_acPlatform[16] = {};    // "CPU", "NEON", "GPU" or "OGL"
    int m_iFramePhotoFlag = 0;     // kFrameMode or kPhotoMode
    char m_acCachePath[512] = {};  // preview only: where GPU program binaries are cached
};
