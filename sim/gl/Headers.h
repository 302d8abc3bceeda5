// The Khronos headers as this layer needs them: with the prototypes of extensions, without a window system.
#pragma once

#define EGL_EGLEXT_PROTOTYPES 1
#define GL_GLEXT_PROTOTYPES 1
#include <EGL/egl.h>
#include <GLES3/gl32.h>
// After the versions that they extend.
#include <EGL/eglext.h>
#include <GLES2/gl2ext.h>

struct AHardwareBuffer;
