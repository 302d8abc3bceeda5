// An off-screen OpenGL ES context on the default display. The engine does not make itself current: callers
// bracket their GL work with startup and stop, on the thread that calls.
#pragma once

#include "ogl/GLHeaders.h"
#include "ogl/GLUtils.h"
#include "ogl/Object.h"

struct ANativeWindow;

class GLEngine : public Object {
public:
    // The window may be null: then the surface is a pbuffer of this size. No EGL call.
    GLEngine(ANativeWindow* window, int width, int height);
    ~GLEngine() override;

    // Display, config, surface, context; again, it releases those it has and makes new ones. 0, or -1 with
    // one log line. On purpose also 0, with one log line, when there is no surface: startup then fails.
    int init();
    // Makes the context current. 0, or -1, also without a surface or context.
    int startup();
    // Makes no context current. 0, or -1.
    int stop();
    // Swaps the surface's buffers. 0, or -1.
    int flush();
    // Releases everything, after which the calling thread has no current context, and forgets the window and
    // its size. On purpose the display ends with the last engine of the process only. 0.
    int destroy();

private:
    bool chooseConfig(EGLConfig* config);
    bool createSurface(EGLConfig config);
    void releaseAll();

    ANativeWindow* m_window;
    int m_iWidth;
    int m_iHeight;
    EGLDisplay m_display = EGL_NO_DISPLAY;
    EGLSurface m_surface = EGL_NO_SURFACE;
    EGLContext m_context = EGL_NO_CONTEXT;
};

// Makes an engine current for as long as it lives; false for null.
class GLEngineScope {
public:
    explicit GLEngineScope(GLEngine* engine)
        : m_engine(engine), m_bCurrent(engine != nullptr && engine->startup() == 0) {}
    ~GLEngineScope() {
        if (m_bCurrent && m_engine->stop() != 0) {
            GL_LOG_ERROR("[GLEngine] stop error: eglMakeCurrent failed!!!");
        }
    }
    GLEngineScope(const GLEngineScope&) = delete;
    GLEngineScope& operator=(const GLEngineScope&) = delete;

    explicit operator bool() const { return m_bCurrent; }

private:
    GLEngine* m_engine;
    bool m_bCurrent;
};
