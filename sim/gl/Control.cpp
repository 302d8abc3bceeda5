#include <sim/gl.h>

#include <algorithm>

#include "sim/gl/Calls.h"
#include "sim/gl/State.h"
#include "sim/gl/System.h"

namespace {

sim::State& state() { return sim::State::get(); }

bool canInitialise() {
    if (!sim::hasSystem()) {
        return false;
    }
    const EGLDisplay display = sim::hook_eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (display == EGL_NO_DISPLAY) {
        return false;
    }
    if (state().displays.count(display) != 0) {
        return true;
    }
    const bool works = sim::hook_eglInitialize(display, nullptr, nullptr) == EGL_TRUE;
    sim::hook_eglTerminate(display);
    return works;
}

}  // namespace

extern "C" {

int sim_gl_available(void) {
    const std::lock_guard lock(state().mutex);
    static const bool available = canInitialise();
    return available ? 1 : 0;
}

void sim_gl_reset(void) {
    const std::lock_guard lock(state().mutex);
    state().reset();
}

int sim_gl_fail(const char* entry, int nth, int code) {
    const std::lock_guard lock(state().mutex);
    const auto found = sim::findEntry(entry);
    if (!found) {
        return -1;
    }
    if (nth > 0) {
        state().faults[*found] = {nth, code};
    } else {
        state().faults.erase(*found);
    }
    return 0;
}

int sim_gl_calls(const char* entry) {
    const std::lock_guard lock(state().mutex);
    const auto found = sim::findEntry(entry);
    return found ? state().calls[static_cast<int>(*found)] : -1;
}

void sim_gl_time_out_fences(int count) {
    const std::lock_guard lock(state().mutex);
    state().fenceTimeouts = count;
}

void sim_gl_set_strict(int on) {
    const std::lock_guard lock(state().mutex);
    state().strict = on != 0;
}

void sim_gl_set_literal_precision(int on) {
    const std::lock_guard lock(state().mutex);
    state().literalPrecision = on != 0;
}

void sim_gl_lose_contexts(void) {
    const std::lock_guard lock(state().mutex);
    for (const auto& context : state().contexts) {
        context->lost = true;
    }
}

int sim_gl_live(const char* kind) {
    const std::lock_guard lock(state().mutex);
    if (kind != nullptr) {
        return state().live(kind);
    }
    int sum = 0;
    for (const char* each : {"display", "context", "surface", "image", "texture", "framebuffer", "program",
                             "shader", "sync", "buffer", "renderbuffer", "vertexarray"}) {
        sum += state().live(each);
    }
    return sum;
}

void sim_gl_set_call_sink(sim_gl_call_sink sink, void* context) {
    const std::lock_guard lock(state().mutex);
    state().sink = sink;
    state().sinkContext = context;
}
}
