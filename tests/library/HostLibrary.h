// libHuevance.so as a host holds it: an array of sixteen pointers, each called with the signature of its
// slot.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "jni/HuevanceAPI.h"
#include "tests/support/HostRecords.h"

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

}  // namespace test
