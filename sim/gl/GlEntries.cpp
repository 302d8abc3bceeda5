// The exported OpenGL ES entry points.
#include "sim/gl/Calls.h"
#include "sim/gl/System.h"

// Announces a call with the arguments that stand in parentheses.
#define ANNOUNCE(name, arguments) [](auto... each) { sim::announce(#name, each...); } arguments

extern "C" {

#define GL_ENTRY(result, name, parameters, arguments)                   \
    result name parameters {                                            \
        ANNOUNCE(name, arguments);                                      \
        if (!sim::beginGl(sim::Entry::name) || !sim::systemGl().name) { \
            return sim::nothing<result>();                              \
        }                                                               \
        return sim::systemGl().name arguments;                          \
    }
#define GL_DRAW(result, name, parameters, arguments)              \
    result name parameters {                                      \
        ANNOUNCE(name, arguments);                                \
        if (sim::beginGl(sim::Entry::name) && sim::beginDraw()) { \
            sim::systemGl().name arguments;                       \
        }                                                         \
    }
#define GL_HOOK(result, name, parameters, arguments) \
    result name parameters {                         \
        ANNOUNCE(name, arguments);                   \
        if (!sim::beginGl(sim::Entry::name)) {       \
            return sim::nothing<result>();           \
        }                                            \
        return sim::hook_##name arguments;           \
    }
#define GL_RAW(result, name, parameters, arguments) \
    result name parameters { return sim::hook_##name arguments; }
#include "sim/gl/GlEntries.inc"
}

// For eglGetProcAddress.
namespace {
#define GL_ENTRY(result, name, parameters, arguments) \
    [[maybe_unused]] const bool g_##name =            \
        sim::setProcedure(sim::Entry::name, reinterpret_cast<sim::Procedure>(&::name));
#include "sim/gl/GlEntries.inc"
}  // namespace
