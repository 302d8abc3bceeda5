// libHuevance.so as a host holds it: an array of sixteen pointers, each called with the signature of its
// slot.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "jni/HuevanceAPI.h"
#include "tests/support/TuningDir.h"

namespace test {

class HostLibrary {
  public:
    HostLibrary() : m_library(dlopen(HUEVANCE_BINARY_DIR "/libHuevance.so", RTLD_NOW | RTLD_LOCAL)) {
        EXPECT_NE(m_library, nullptr) << dlerror();
        getAlgoApi = reinterpret_cast<int (*)(void**)>(symbol("get_algo_api"));
        EXPECT_EQ(getAlgoApi(slots), 0);
    }
    ~HostLibrary() { dlclose(m_library); }
    HostLibrary(const HostLibrary&) = delete;
    HostLibrary& operator=(const HostLibrary&) = delete;

    void* symbol(const char* name) const { return m_library != nullptr ? dlsym(m_library, name) : nullptr; }

    template <typename... Args>
    int call(int slot, Args... args) const {
        return reinterpret_cast<int (*)(Args...)>(slots[slot])(args...);
    }
    const char* getVersion() const { return reinterpret_cast<const char* (*)()>(slots[0])(); }
    void setLogStatus(int mask) const { reinterpret_cast<void (*)(int)>(slots[1])(mask); }
    int algoInitHandle(void** handle, InitParam* init) const { return call<void**, void*>(2, handle, init); }
    int isSupportFormat(void* handle, int format) const { return call(4, handle, format); }
    int singleProcessImage(void* handle, Image* image, int scene) const {
        return call<void*, Image*, void*, void*>(9, handle, image, &scene, nullptr);
    }
    int releaseHandle(void* handle) const { return call<void*, void*>(13, handle, nullptr); }

    int (*getAlgoApi)(void**);
    void* slots[16] = {};

  private:
    void* m_library;
};

// A set-up record for a tuning directory, 8-bit frames and no mask.
inline InitParam initParam(const TuningDir& dir, int mode, RoiInfo roi) {
    return {.reserved = -1,
            .dataBit = 8,
            .framePhotoFlag = mode,
            .directory1 = dir.parent().c_str(),
            .directory2 = dir.name().c_str(),
            .imageRoi = roi,
            .portraitMaskRoi = {},
            .portraitMask = nullptr};
}

// The record of a two-plane frame, as a host fills it.
inline Image hostImage(void* data, IMAGE_FORMAT_TYPE format, RoiInfo roi) {
    Image image = {};
    image.w = roi.width;
    image.h = roi.height;
    image.num_plane = 2;
    image.format = format;
    image.planes[0] = {roi.width, roi.height, roi.stride, roi.scanline, roi.stride * roi.scanline, -1, data};
    image.planes[1] = {roi.width,
                       roi.height / 2,
                       roi.stride,
                       roi.scanline / 2,
                       roi.stride * (roi.scanline / 2),
                       -1,
                       static_cast<unsigned char*>(data) + roi.stride * roi.scanline};
    return image;
}

}  // namespace test
