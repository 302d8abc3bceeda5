// Controls of the simulated EGL and OpenGL ES, for tests and tools. Not part of a phone.
//
// A thin layer in front of the system's driver. It adds what a phone has: a default display without a window
// system, client buffers and EGL images of hardware buffers, external textures as draw targets, layout(yuv)
// output. The drawn frame reaches the buffer before a fence reports, and at the latest when its context is no
// longer current. It counts, and fails calls when told to. Settings hold until sim_gl_reset().
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// 1 when the system has a driver behind this layer that renders without a window system, else 0: then every
// call fails.
int sim_gl_available(void);

// No faults, no time-outs, no sink; forgets call counts. Lost contexts stay lost, live
// objects counted.
void sim_gl_reset(void);

// Fails the nth call (1 is the next) of an EGL or GL entry point; the system's driver does not see the call.
// `code` is what eglGetError or glGetError then says. An entry point holds one fault at a time; nth 0 removes
// it. -1 for an unknown name, else 0.
int sim_gl_fail(const char* entry, int nth, int code);

// Calls of an entry point, failed ones included; -1 for an unknown name.
int sim_gl_calls(const char* entry);

// The coming `count` waits for a fence time out, and leave the drawn frame where it is for now.
void sim_gl_time_out_fences(int count);

// Strict as the slowest of phones: every wait for a fence really takes its time and times out, and the drawn
// frame reaches the buffer when its context is no longer current. By default (after a reset, too) as the
// environment's HUEVANCE_SIM_STRICT says: 1 is on.
void sim_gl_set_strict(int on);

// Shaders that are composed from now on take the lowp of their two-dimensional samplers literally, as far as
// the system's driver can: what those give is rounded to half floats. Without effect on a processor that has
// none.
void sim_gl_set_literal_precision(int on);

// Every context that is alive now is lost: its calls do nothing, and glGetError answers GL_CONTEXT_LOST
// without end.
void sim_gl_lose_contexts(void);

// Objects that were created and not deleted: "display" (initialised), "context", "surface", "image",
// "texture", "framebuffer", "program", "shader", "sync", "buffer", "renderbuffer", "vertexarray"; null for
// the sum of all; -1 for another name. What a context made goes with it.
int sim_gl_live(const char* kind);

// Receives every EGL and GL call before it is made, as text: "glUniform1f(3, 128)". Pointers are "ptr" or
// "null", attribute lists of EGL "[12375=1 12374=1]".
typedef void (*sim_gl_call_sink)(void* context, const char* call);
void sim_gl_set_call_sink(sim_gl_call_sink sink, void* context);

#ifdef __cplusplus
}
#endif
