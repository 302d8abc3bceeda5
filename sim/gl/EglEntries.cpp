// The exported EGL entry points.
#include "sim/gl/Calls.h"
#include "sim/gl/System.h"

namespace {

template <typename T>
T announced(T argument) {
    return argument;
}
// All such arguments of EGL are lists of attributes.
std::string announced(const EGLint* attributes) {
    if (attributes == nullptr) {
        return "null";
    }
    std::string text = "[";
    for (; *attributes != EGL_NONE; attributes += 2) {
        text += std::to_string(attributes[0]) + "=" + std::to_string(attributes[1]) + " ";
    }
    return text.back() == ' ' ? text.replace(text.size() - 1, 1, "]") : text + "]";
}

}  // namespace

// Announces a call with the arguments that stand in parentheses.
#define ANNOUNCE(name, arguments) [](auto... each) { sim::announce(#name, announced(each)...); } arguments

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

// For eglGetProcAddress.
namespace {
#define EGL_ENTRY(result, name, parameters, arguments) \
    [[maybe_unused]] const bool g_##name =             \
        sim::setProcedure(sim::Entry::name, reinterpret_cast<sim::Procedure>(&::name));
#include "sim/gl/EglEntries.inc"
}  // namespace
