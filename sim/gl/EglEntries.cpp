// The exported EGL entry points.
#include "sim/gl/Calls.h"
#include "sim/gl/System.h"

// Announces a call with the arguments that stand in parentheses.
#define ANNOUNCE(name, arguments) [](auto... each) { sim::announce(#name, each...); } arguments

extern "C" {

#define EGL_ENTRY(result, name, parameters, arguments)                    \
    result name parameters {                                              \
        ANNOUNCE(name, arguments);                                        \
        if (!sim::beginEgl(sim::Entry::name) || !sim::systemEgl().name) { \
            return sim::nothing<result>();                                \
        }                                                                 \
        return sim::systemEgl().name arguments;                           \
    }
#define EGL_HOOK(result, name, parameters, arguments) \
    result name parameters {                          \
        ANNOUNCE(name, arguments);                    \
        if (!sim::beginEgl(sim::Entry::name)) {       \
            return sim::nothing<result>();            \
        }                                             \
        return sim::hook_##name arguments;            \
    }
#define EGL_RAW(result, name, parameters, arguments) \
    result name parameters { return sim::hook_##name arguments; }
#include "sim/gl/EglEntries.inc"
}
#undef EGL_RAW
#undef EGL_HOOK
#undef EGL_ENTRY

// For eglGetProcAddress.
namespace {
#define EGL_ENTRY(result, name, parameters, arguments) \
    [[maybe_unused]] const bool g_##name =             \
        sim::setProcedure(sim::Entry::name, reinterpret_cast<sim::Procedure>(&::name));
#define EGL_HOOK EGL_ENTRY
#define EGL_RAW EGL_ENTRY
#include "sim/gl/EglEntries.inc"
}  // namespace
