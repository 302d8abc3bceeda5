#include "ogl/GLEngine.h"

#include <atomic>
#include <cstdint>
#include <cstring>

#include "ogl/GLUtils.h"

namespace {

// A display is shared by its process: the first engine that ends it would take the other engines' contexts
// along. So, on purpose, engines that go before the last one leave their share of eglTerminate to it, which
// then calls once for each eglInitialize: that is right for displays that count, as Android's do, and for
// those that do not.
//
// Engines with the display initialised in the low half, terminations left over in the high half. One atomic
// value, since nothing here takes locks; where two threads end and begin at once, the platform's own count
// decides.
std::atomic<std::uint64_t> g_displayUsers = 0;
constexpr std::uint64_t kLeftOver = std::uint64_t{1} << 32;

void retainDisplay() { ++g_displayUsers; }

// `initialised`: 1 for an engine whose eglInitialize succeeded, else 0.
void releaseDisplay(EGLDisplay display, std::uint64_t initialised) {
    std::uint64_t users = g_displayUsers.load();
    std::uint64_t rest = 0;
    std::uint64_t terminations = 0;
    do {
        const bool last = users % kLeftOver == 1;
        terminations = last ? users / kLeftOver + initialised : 0;
        rest = last ? 0 : users - 1 + initialised * kLeftOver;
    } while (!g_displayUsers.compare_exchange_weak(users, rest));
    for (; terminations > 0; --terminations) {
        eglTerminate(display);
    }
}

EGLint renderableType(EGLDisplay display) {
    const char* extensions = eglQueryString(display, EGL_EXTENSIONS);
    const bool es3 = extensions != nullptr && std::strstr(extensions, "EGL_KHR_create_context") != nullptr;
    return es3 ? EGL_OPENGL_ES3_BIT_KHR : EGL_OPENGL_ES2_BIT;
}

}  // namespace

GLEngine::GLEngine(ANativeWindow* window, int width, int height)
    : m_window(window), m_iWidth(width), m_iHeight(height) {}

GLEngine::~GLEngine() { destroy(); }

int GLEngine::init() {
    releaseAll();
    const EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (display == EGL_NO_DISPLAY) {
        GL_LOG_ERROR("[GLEngine] init error: eglGetDisplay failed!!!");
        return -1;
    }
    retainDisplay();  // first, so that an engine that goes at this moment is not the last
    if (eglInitialize(display, nullptr, nullptr) != EGL_TRUE) {
        releaseDisplay(display, 0);
        GL_LOG_ERROR("[GLEngine] init error: eglInitialize failed!!!");
        return -1;
    }
    m_display = display;

    EGLConfig config = nullptr;
    if (!chooseConfig(&config)) {
        return -1;
    }
    if (!createSurface(config)) {
        return 0;  // on purpose: startup fails
    }
    const EGLint attributes[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
    m_context = eglCreateContext(m_display, config, EGL_NO_CONTEXT, attributes);
    if (m_context == EGL_NO_CONTEXT) {
        GL_LOG_ERROR("[GLEngine] init error: eglCreateContext failed!!!");
        return -1;
    }
    return 0;
}

bool GLEngine::chooseConfig(EGLConfig* config) {
    const EGLint attributes[] = {EGL_RED_SIZE,
                                 8,
                                 EGL_GREEN_SIZE,
                                 8,
                                 EGL_BLUE_SIZE,
                                 8,
                                 EGL_ALPHA_SIZE,
                                 8,
                                 EGL_DEPTH_SIZE,
                                 8,
                                 EGL_STENCIL_SIZE,
                                 0,
                                 EGL_SAMPLE_BUFFERS,
                                 0,
                                 EGL_RENDERABLE_TYPE,
                                 renderableType(m_display),
                                 EGL_NONE};
    EGLint count = 0;
    if (eglChooseConfig(m_display, attributes, config, 1, &count) != EGL_TRUE) {
        GL_LOG_ERROR("[GLEngine] init error: eglChooseConfig failed!!!");
        return false;
    }
    if (count < 1) {
        GL_LOG_ERROR("[GLEngine] init error: numConfigs < 1!!!");
        return false;
    }
    return true;
}

bool GLEngine::createSurface(EGLConfig config) {
    if (m_window != nullptr) {
        // A pointer on a phone, a number elsewhere.
        const auto window = reinterpret_cast<EGLNativeWindowType>(m_window);
        m_surface = eglCreateWindowSurface(m_display, config, window, nullptr);
    } else {
        const EGLint attributes[] = {EGL_WIDTH,          m_iWidth,           EGL_HEIGHT,
                                     m_iHeight,          EGL_TEXTURE_TARGET, EGL_NO_TEXTURE,
                                     EGL_TEXTURE_FORMAT, EGL_NO_TEXTURE,     EGL_NONE};
        m_surface = eglCreatePbufferSurface(m_display, config, attributes);
    }
    if (m_surface == EGL_NO_SURFACE) {
        GL_LOG_ERROR("[GLEngine] init error: %s failed!!!",
                     m_window != nullptr ? "eglCreateWindowSurface" : "eglCreatePbufferSurface");
        return false;
    }
    return true;
}

int GLEngine::startup() {
    // Without surface and context eglMakeCurrent would succeed: that is how a context is released.
    if (m_display == EGL_NO_DISPLAY || m_surface == EGL_NO_SURFACE || m_context == EGL_NO_CONTEXT) {
        return -1;
    }
    return eglMakeCurrent(m_display, m_surface, m_surface, m_context) == EGL_TRUE ? 0 : -1;
}

int GLEngine::stop() {
    if (m_display == EGL_NO_DISPLAY) {
        return -1;
    }
    return eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT) == EGL_TRUE ? 0 : -1;
}

int GLEngine::flush() {
    if (m_display == EGL_NO_DISPLAY) {
        return -1;
    }
    return eglSwapBuffers(m_display, m_surface) == EGL_TRUE ? 0 : -1;
}

void GLEngine::releaseAll() {
    if (m_display == EGL_NO_DISPLAY) {
        return;
    }
    if (m_context != EGL_NO_CONTEXT) {
        eglDestroyContext(m_display, m_context);
    }
    if (m_surface != EGL_NO_SURFACE) {
        eglDestroySurface(m_display, m_surface);
    }
    eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    releaseDisplay(m_display, 1);
    m_display = EGL_NO_DISPLAY;
    m_surface = EGL_NO_SURFACE;
    m_context = EGL_NO_CONTEXT;
}

int GLEngine::destroy() {
    releaseAll();
    m_window = nullptr;
    m_iWidth = 0;
    m_iHeight = 0;
    return 0;
}
