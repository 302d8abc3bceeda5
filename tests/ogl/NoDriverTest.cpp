// A machine without a driver: set-up answers -1 and says why.
#include <gmock/gmock.h>
#include <sim/gl.h>

#include "jni/HuevanceFrame.h"
#include "jni/HuevancePhoto.h"
#include "ogl/GLHeaders.h"
#include "ogl/Object.h"
#include "tests/ogl/support/OglTuning.h"
#include "tests/support/LogCapture.h"

// The simulated device's own way to the system's libraries.
extern "C" __attribute__((visibility("default"))) void* dlopen(const char*, int) noexcept { return nullptr; }

namespace {

using testing::ElementsAre;

TEST(NoDriver, EveryCallFailsSoftly) {
    EXPECT_EQ(sim_gl_available(), 0);
    EXPECT_EQ(eglGetDisplay(EGL_DEFAULT_DISPLAY), EGL_NO_DISPLAY);
    EXPECT_EQ(eglInitialize(EGL_NO_DISPLAY, nullptr, nullptr), static_cast<EGLBoolean>(EGL_FALSE));
    EXPECT_EQ(eglGetError(), EGL_NOT_INITIALIZED);
    EXPECT_EQ(glCreateProgram(), 0U);
    EXPECT_EQ(glGetError(), 0U);
}

TEST(NoDriver, SetUpAnswersWithItsLines) {
    test::OglTuning tuning;
    char cache[] = "";
    for (const bool photo : {true, false}) {
        int object = 0;
        void* handle = &object;
        test::LogCapture log;
        EXPECT_EQ(photo ? HuevancePhotoMalloc_OGL(tuning.path(), {64, 48, 64, 48}, 8, &handle)
                        : HuevanceFrameMalloc_OGL(tuning.path(), {64, 48, 64, 48}, 8, cache, &handle),
                  -1);
        EXPECT_EQ(handle, nullptr);
        EXPECT_THAT(
            log.texts(test::kError),
            ElementsAre("[GLEngine] init error: eglGetDisplay failed!!!",
                        "[CHuevanceFrame_OGL] init error: GLEnv init failed!!!",
                        photo ? "HuevancePhotoMalloc_OGL failed!\n" : "HuevanceFrameMalloc_OGL failed!\n"));
        EXPECT_EQ(Object::liveObjects(), 0);
    }
}

}  // namespace
