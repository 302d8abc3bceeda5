// What the layer adds to EGL: a default display without a window system, hardware buffers as images, and the
// books.
#include <android/hardware_buffer.h>

#include <cstring>
#include <string>

#include "sim/gl/Calls.h"
#include "sim/gl/System.h"
#include "sim/gl/YuvTarget.h"

namespace sim {

namespace {

constexpr EGLint kRenderUsage =
    static_cast<EGLint>(AHARDWAREBUFFER_USAGE_GPU_SAMPLED_IMAGE | AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER);

// An attribute list, and what it lacks for a display without windows: the surface type's default is a window.
std::vector<EGLint> withPbuffers(const EGLint* attributes) {
    std::vector<EGLint> result;
    bool named = false;
    for (; attributes != nullptr && *attributes != EGL_NONE; attributes += 2) {
        named = named || attributes[0] == EGL_SURFACE_TYPE;
        result.insert(result.end(), {attributes[0], attributes[1]});
    }
    if (!named) {
        result.insert(result.end(), {EGL_SURFACE_TYPE, EGL_PBUFFER_BIT});
    }
    result.push_back(EGL_NONE);
    return result;
}

EGLSurface remember(EGLDisplay display, EGLSurface surface) {
    if (surface != EGL_NO_SURFACE) {
        const std::lock_guard lock(State::get().mutex);
        State::get().surfaces[surface] = display;
    }
    return surface;
}

template <typename Result>
Result failEgl(EGLint code) {
    setEglError(code);
    return Result();
}

}  // namespace

bool beginEgl(Entry entry) {
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    const auto fault = state.enter(entry);
    if (fault || !hasSystem()) {
        setEglError(fault ? *fault : EGL_NOT_INITIALIZED);
        return false;
    }
    setEglError(EGL_SUCCESS);  // the error is that of the last call
    return true;
}

EGLDisplay hook_eglGetDisplay(EGLNativeDisplayType id) {
    const SystemEgl& egl = systemEgl();
    if (id != EGL_DEFAULT_DISPLAY || egl.getPlatformDisplay == nullptr) {
        return egl.eglGetDisplay(id);
    }
    // Mesa's platform without windows; other drivers have one for each device.
    for (const EGLenum platform : {EGL_PLATFORM_SURFACELESS_MESA, EGL_PLATFORM_DEVICE_EXT}) {
        void* device = EGL_DEFAULT_DISPLAY;
        if (platform == EGL_PLATFORM_DEVICE_EXT) {
            const auto query =
                reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(egl.eglGetProcAddress("eglQueryDevicesEXT"));
            EGLint devices = 0;
            if (query == nullptr || query(1, &device, &devices) != EGL_TRUE || devices < 1) {
                continue;
            }
        }
        const EGLDisplay display = egl.getPlatformDisplay(platform, device, nullptr);
        if (display != EGL_NO_DISPLAY) {
            return display;
        }
        egl.eglGetError();
    }
    return egl.eglGetDisplay(id);
}

EGLBoolean hook_eglInitialize(EGLDisplay display, EGLint* major, EGLint* minor) {
    const EGLBoolean done = systemEgl().eglInitialize(display, major, minor);
    if (done == EGL_TRUE) {
        const std::lock_guard lock(State::get().mutex);
        State::get().displays.insert(display);
        static std::once_flag pinned;
        std::call_once(pinned, pinLibraries);
    }
    return done;
}

// As the standard has it, which is harsher than a phone that counts: one call ends the display for everybody.
EGLBoolean hook_eglTerminate(EGLDisplay display) {
    const EGLBoolean done = systemEgl().eglTerminate(display);
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    if (done != EGL_TRUE || state.displays.erase(display) == 0) {
        return done;
    }
    std::erase_if(state.surfaces, [display](const auto& entry) { return entry.second == display; });
    std::erase_if(state.images, [display](const auto& entry) { return entry.second.first == display; });
    for (const auto& context : state.contexts) {
        context->destroyed = context->destroyed || context->display == display;
    }
    state.sweep();
    return done;
}

const char* hook_eglQueryString(EGLDisplay display, EGLint name) {
    const char* text = systemEgl().eglQueryString(display, name);
    if (text == nullptr || name != EGL_EXTENSIONS) {
        return text;
    }
    const std::lock_guard lock(State::get().mutex);
    static std::map<EGLDisplay, std::string> texts;
    return texts
        .try_emplace(display, std::string(text) +
                                  " EGL_ANDROID_get_native_client_buffer"
                                  " EGL_ANDROID_image_native_buffer")
        .first->second.c_str();
}

EGLBoolean hook_eglChooseConfig(EGLDisplay display, const EGLint* attributes, EGLConfig* configs, EGLint size,
                                EGLint* count) {
    return systemEgl().eglChooseConfig(display, withPbuffers(attributes).data(), configs, size, count);
}

EGLSurface hook_eglCreatePbufferSurface(EGLDisplay display, EGLConfig config, const EGLint* attributes) {
    return remember(display, systemEgl().eglCreatePbufferSurface(display, config, attributes));
}

EGLSurface hook_eglCreateWindowSurface(EGLDisplay display, EGLConfig config, EGLNativeWindowType window,
                                       const EGLint* attributes) {
    return remember(display, systemEgl().eglCreateWindowSurface(display, config, window, attributes));
}

EGLBoolean hook_eglDestroySurface(EGLDisplay display, EGLSurface surface) {
    const EGLBoolean done = systemEgl().eglDestroySurface(display, surface);
    if (done == EGL_TRUE) {
        const std::lock_guard lock(State::get().mutex);
        State::get().surfaces.erase(surface);
    }
    return done;
}

EGLContext hook_eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share,
                                 const EGLint* attributes) {
    const EGLContext handle = systemEgl().eglCreateContext(display, config, share, attributes);
    if (handle != EGL_NO_CONTEXT) {
        auto context = std::make_unique<Context>();
        context->display = display;
        context->handle = handle;
        const std::lock_guard lock(State::get().mutex);
        State::get().contexts.push_back(std::move(context));
    }
    return handle;
}

EGLBoolean hook_eglDestroyContext(EGLDisplay display, EGLContext handle) {
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    Context* context = state.find(handle);
    const EGLBoolean done = systemEgl().eglDestroyContext(display, handle);
    if (done == EGL_TRUE && context != nullptr) {
        context->destroyed = true;  // a current context lives on until it is current no more
        state.sweep();
    }
    return done;
}

EGLBoolean hook_eglMakeCurrent(EGLDisplay display, EGLSurface draw, EGLSurface read, EGLContext handle) {
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    Context* next = state.find(handle);
    if (next != nullptr && next->lost) {
        return failEgl<EGLBoolean>(EGL_CONTEXT_LOST);
    }
    Context* before = state.currentContext();
    if (before != nullptr && before != next && !before->lost) {
        writeBack(*before);
    }
    const EGLBoolean done = systemEgl().eglMakeCurrent(display, draw, read, handle);
    if (done == EGL_TRUE) {
        state.setCurrent(next);
        state.sweep();
    }
    return done;
}

EGLBoolean hook_eglSwapBuffers(EGLDisplay display, EGLSurface surface) {
    const Context* context = State::get().currentContext();
    if (context != nullptr && context->lost) {
        return failEgl<EGLBoolean>(EGL_CONTEXT_LOST);
    }
    return systemEgl().eglSwapBuffers(display, surface);
}

EGLint hook_eglGetError() {
    announce("eglGetError");
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    const auto fault = state.enter(Entry::eglGetError);
    if (fault) {
        return *fault;
    }
    const EGLint code = takeEglError();
    return code != EGL_SUCCESS || !hasSystem() ? code : systemEgl().eglGetError();
}

Procedure hook_eglGetProcAddress(const char* name) {
    const auto entry = findEntry(name);
    const Procedure own = entry ? procedureOf(*entry) : nullptr;
    return own != nullptr ? own : systemEgl().eglGetProcAddress(name);
}

EGLClientBuffer hook_eglGetNativeClientBufferANDROID(const AHardwareBuffer* buffer) {
    if (buffer == nullptr) {
        return failEgl<EGLClientBuffer>(EGL_BAD_PARAMETER);
    }
    return const_cast<AHardwareBuffer*>(buffer);
}

EGLImageKHR hook_eglCreateImageKHR(EGLDisplay display, EGLContext context, EGLenum target,
                                   EGLClientBuffer client, const EGLint* /*attributes*/) {
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    if (state.displays.count(display) == 0) {
        return failEgl<EGLImageKHR>(display == EGL_NO_DISPLAY ? EGL_BAD_DISPLAY : EGL_NOT_INITIALIZED);
    }
    if (target != EGL_NATIVE_BUFFER_ANDROID || client == nullptr) {
        return failEgl<EGLImageKHR>(EGL_BAD_PARAMETER);
    }
    if (context != EGL_NO_CONTEXT) {
        return failEgl<EGLImageKHR>(EGL_BAD_CONTEXT);
    }
    auto* buffer = static_cast<AHardwareBuffer*>(client);
    AHardwareBuffer_Desc desc = {};
    AHardwareBuffer_describe(buffer, &desc);
    if ((desc.usage & kRenderUsage) == 0) {
        return failEgl<EGLImageKHR>(EGL_BAD_PARAMETER);
    }
    auto image = std::make_shared<HardwareImage>(buffer);
    const EGLImageKHR handle = image.get();
    state.images[handle] = {display, std::move(image)};
    return handle;
}

EGLBoolean hook_eglDestroyImageKHR(EGLDisplay display, EGLImageKHR image) {
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    if (state.displays.count(display) == 0) {
        return failEgl<EGLBoolean>(EGL_NOT_INITIALIZED);
    }
    return state.images.erase(image) == 1 ? EGL_TRUE : failEgl<EGLBoolean>(EGL_BAD_PARAMETER);
}

}  // namespace sim
