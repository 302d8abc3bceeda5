// The system's own EGL and OpenGL ES, loaded on first use and never unloaded. Pointers are null where it has
// none.
#pragma once

#include "sim/gl/Headers.h"

namespace sim {

struct SystemEgl {
#define EGL_ENTRY(result, name, parameters, arguments) result(*name) parameters = nullptr;
#include "sim/gl/EglEntries.inc"
    PFNEGLGETPLATFORMDISPLAYEXTPROC getPlatformDisplay = nullptr;
};

struct SystemGl {
#define GL_ENTRY(result, name, parameters, arguments) result(*name) parameters = nullptr;
#include "sim/gl/GlEntries.inc"
};

// Whether both libraries are there.
bool hasSystem();
const SystemEgl& systemEgl();
const SystemGl& systemGl();

// Keeps every library that is loaded now until the process ends. Drivers load theirs with a display and drop
// them with it; then nobody could say any more whose the memory is that they leave behind.
void pinLibraries();

}  // namespace sim
