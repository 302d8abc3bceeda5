// The way of a call through the layer: announced to the sink, counted, failed if told to, then handed to its
// hook or to the system's driver.
#pragma once

#include <string>
#include <type_traits>

#include "sim/gl/State.h"

namespace sim {

// Whether the call goes on; otherwise it has been answered: no driver, no current context, a fault, a lost
// context.
bool beginEgl(Entry entry);
bool beginGl(Entry entry);
// Applies the rules of drawing with layout(yuv) output. False: the draw fails.
bool beginDraw();

// The hooks: what the layer adds to an entry point.
#define EGL_ENTRY(result, name, parameters, arguments)
#define EGL_HOOK(result, name, parameters, arguments) result hook_##name parameters;
#define EGL_RAW EGL_HOOK
#include "sim/gl/EglEntries.inc"
#define GL_ENTRY(result, name, parameters, arguments)
#define GL_HOOK(result, name, parameters, arguments) result hook_##name parameters;
#define GL_RAW GL_HOOK
#include "sim/gl/GlEntries.inc"

// What a call that does not go on answers: nothing, 0, null.
template <typename Result>
Result nothing() {
    return Result();
}

bool hasSink();
void announceText(const std::string& call);

inline std::string argumentText(const char* text) { return text != nullptr ? text : "null"; }
template <typename T>
std::string argumentText(T argument) {
    if constexpr (std::is_pointer_v<T>) {
        return argument != nullptr ? "ptr" : "null";
    } else if constexpr (std::is_floating_point_v<T>) {
        std::string text = std::to_string(argument);  // six decimals; without the zeros at their end
        text.erase(text.find_last_not_of('0') + 1);
        return text.back() == '.' ? text.substr(0, text.size() - 1) : text;
    } else {
        return std::to_string(argument);
    }
}

inline std::string argumentText(const std::string& text) { return text; }

// Texts for output are pointers like others.
inline std::string argumentText(char* text) { return text != nullptr ? "ptr" : "null"; }

template <typename... Arguments>
void announce(const char* name, const Arguments&... arguments) {
    if (!hasSink()) {
        return;
    }
    std::string text = name;
    [[maybe_unused]] const char* separator = "(";
    ((text.append(separator).append(argumentText(arguments)), separator = ", "), ...);
    announceText(text.append(sizeof...(arguments) == 0 ? "()" : ")"));
}

}  // namespace sim
