// Error checks and the end of a frame. Log lines of the GL wrappers carry the tag "Huevance" and error
// priority.
#pragma once

#include <android/log.h>

#include "ogl/GLHeaders.h"

#define GL_LOG_ERROR(...) __android_log_print(ANDROID_LOG_ERROR, "Huevance", __VA_ARGS__)

class GLUtils {
public:
    // Logs the pending errors under a label. A lost context reports one error without end, so that ends a
    // check, and no check reads more than kMaxErrors. Whether there were none.
    static bool checkGLError(const char* label);
    // The checks of the calling thread that found errors so far: it has grown when something failed since.
    static unsigned failedChecks();
    static void checkEGLError(const char* label);
    // Whether the framebuffer bound to GL_FRAMEBUFFER is complete; logs its status if not.
    static bool checkFramebufferStatus();
    // The name of an EGL error, "UNKNOWN" for other codes.
    static const char* strError(int code);

    // Hands the drawing to the GPU and waits for it, 15 ms at most. Whether it is done; a log line when the
    // time is up.
    static bool flush();

    static constexpr int kMaxErrors = 16;
};

// Checks when it goes out of scope, after the call whose label it carries.
class GLCheck {
public:
    explicit GLCheck(const char* label) : m_label(label) {}
    ~GLCheck() { GLUtils::checkGLError(m_label); }
    GLCheck(const GLCheck&) = delete;
    GLCheck& operator=(const GLCheck&) = delete;

private:
    const char* m_label;
};

// Makes a GL call and checks it under the given label, or under its own name; yields the call's result.
#define GL_CALL_LABELLED(label, function, ...) \
    [&] {                                      \
        const GLCheck check(label);            \
        return function(__VA_ARGS__);          \
    }()
#define GL_CALL(function, ...) GL_CALL_LABELLED(#function, function, __VA_ARGS__)
