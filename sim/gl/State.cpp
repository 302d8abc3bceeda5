#include "sim/gl/State.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "sim/gl/System.h"

namespace sim {

namespace {

constexpr int kEntries = static_cast<int>(Entry::kCount);

constexpr std::array<const char*, kEntries> kEntryNames = {
#define EGL_ENTRY(result, name, parameters, arguments) #name,
#include "sim/gl/EglEntries.inc"
#define GL_ENTRY(result, name, parameters, arguments) #name,
#include "sim/gl/GlEntries.inc"
};

constexpr std::array<const char*, static_cast<int>(Kind::kCount)> kKindNames = {
    "texture", "framebuffer", "program", "shader", "buffer", "renderbuffer", "vertexarray"};

thread_local Context* t_current = nullptr;
thread_local EGLint t_eglError = EGL_SUCCESS;

int count(std::size_t size) { return static_cast<int>(size); }

}  // namespace

State& State::get() {
    static State* instance = new State;  // outlives every static object that may still make calls
    return *instance;
}

bool State::strictByDefault() {
    const char* value = std::getenv("HUEVANCE_SIM_STRICT");
    return value != nullptr && std::strcmp(value, "1") == 0;
}

bool State::hasYuvTarget() {
    const char* value = std::getenv("HUEVANCE_SIM_NO_YUV_TARGET");
    return value == nullptr || std::strcmp(value, "1") != 0;
}

void State::reset() {
    faults.clear();
    std::fill(std::begin(calls), std::end(calls), 0);
    fenceTimeouts = 0;
    strict = strictByDefault();
    literalPrecision = false;
    sink = nullptr;
}

std::optional<int> State::enter(Entry entry) {
    ++calls[static_cast<int>(entry)];
    const auto fault = faults.find(entry);
    if (fault == faults.end() || --fault->second.first > 0) {
        return std::nullopt;
    }
    const int code = fault->second.second;
    faults.erase(fault);
    return code;
}

int State::live(const std::string& kind) const {
    if (kind == "display") {
        return count(displays.size());
    }
    if (kind == "surface") {
        return count(surfaces.size());
    }
    if (kind == "image") {
        return count(images.size());
    }
    if (kind == "context") {
        return count(contexts.size());
    }
    int result = 0;
    if (kind == "sync") {
        for (const auto& context : contexts) {
            result += count(context->syncs.size());
        }
        return result;
    }
    const auto* const name = std::find(kKindNames.begin(), kKindNames.end(), kind);
    if (name == kKindNames.end()) {
        return -1;
    }
    for (const auto& context : contexts) {
        result += count(context->objects[name - kKindNames.begin()].size());
    }
    return result;
}

Context* State::currentContext() const { return t_current; }

void State::setCurrent(Context* context) {
    if (t_current != nullptr) {
        t_current->current = false;
    }
    t_current = context;
    if (context != nullptr) {
        context->current = true;
    }
}

Context* State::find(EGLContext handle) {
    for (const auto& context : contexts) {
        if (context->handle == handle && !context->destroyed) {
            return context.get();
        }
    }
    return nullptr;
}

void State::sweep() {
    std::erase_if(contexts, [](const auto& context) { return context->destroyed && !context->current; });
}

std::optional<Entry> findEntry(const std::string& name) {
    const auto* const found = std::find(kEntryNames.begin(), kEntryNames.end(), name);
    return found != kEntryNames.end() ? std::optional(static_cast<Entry>(found - kEntryNames.begin()))
                                      : std::nullopt;
}

namespace {
Procedure g_procedures[kEntries] = {};
}

bool setProcedure(Entry entry, Procedure procedure) {
    g_procedures[static_cast<int>(entry)] = procedure;
    return true;
}

Procedure procedureOf(Entry entry) { return g_procedures[static_cast<int>(entry)]; }

void setEglError(EGLint code) { t_eglError = code; }

EGLint takeEglError() {
    const EGLint code = t_eglError;
    t_eglError = EGL_SUCCESS;
    return code;
}

}  // namespace sim
