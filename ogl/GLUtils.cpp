#include "ogl/GLUtils.h"

#include <iterator>

namespace {

constexpr GLuint64 kFlushTimeout = 15000000;  // nanoseconds

// From 0x3000 on.
constexpr const char* kEglErrors[] = {"EGL_SUCCESS",       "EGL_NOT_INITIALIZED",     "EGL_BAD_ACCESS",
                                      "EGL_BAD_ALLOC",     "EGL_BAD_ATTRIBUTE",       "EGL_BAD_CONFIG",
                                      "EGL_BAD_CONTEXT",   "EGL_BAD_CURRENT_SURFACE", "EGL_BAD_DISPLAY",
                                      "EGL_BAD_MATCH",     "EGL_BAD_NATIVE_PIXMAP",   "EGL_BAD_NATIVE_WINDOW",
                                      "EGL_BAD_PARAMETER", "EGL_BAD_SURFACE",         "EGL_CONTEXT_LOST"};

// A context is current on one thread, and so are its errors: another pipeline's must not fail this one's
// frame.
thread_local unsigned t_failedChecks = 0;

}  // namespace

bool GLUtils::checkGLError(const char* label) {
    for (int i = 0; i < kMaxErrors; ++i) {
        const GLenum code = glGetError();
        if (code == GL_NO_ERROR) {
            return i == 0;
        }
        t_failedChecks += i == 0 ? 1 : 0;
        GL_LOG_ERROR("%s glError: %d ", label, static_cast<int>(code));
        if (code == GL_CONTEXT_LOST) {
            return false;
        }
    }
    return false;
}

unsigned GLUtils::failedChecks() { return t_failedChecks; }

void GLUtils::checkEGLError(const char* label) {
    for (int i = 0; i < kMaxErrors; ++i) {
        const EGLint code = eglGetError();
        if (code == EGL_SUCCESS) {
            return;
        }
        GL_LOG_ERROR("%s eglError: %s (0x%x)", label, strError(code), static_cast<unsigned>(code));
    }
}

bool GLUtils::checkFramebufferStatus() {
    const GLenum status = GL_CALL(glCheckFramebufferStatus, GL_FRAMEBUFFER);
    if (status != GL_FRAMEBUFFER_COMPLETE) {
        GL_LOG_ERROR("Framebuffer not complete, status: %d", static_cast<int>(status));
        return false;
    }
    return true;
}

const char* GLUtils::strError(int code) {
    const int index = code - EGL_SUCCESS;
    return index >= 0 && index < static_cast<int>(std::size(kEglErrors)) ? kEglErrors[index] : "UNKNOWN";
}

bool GLUtils::flush() {
    GL_CALL(glFlush);
    const GLsync fence = GL_CALL(glFenceSync, GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    if (fence == nullptr) {
        return false;
    }
    const GLenum result = GL_CALL(glClientWaitSync, fence, 0, kFlushTimeout);
    if (result == GL_TIMEOUT_EXPIRED) {
        GL_LOG_ERROR(
            "[GLUtils] flush error: not done after 15 ms: the output may be read before it is drawn!!!");
    }
    GL_CALL(glDeleteSync, fence);
    return result == GL_ALREADY_SIGNALED || result == GL_CONDITION_SATISFIED;
}
