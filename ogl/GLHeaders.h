// The platform's EGL and OpenGL ES, with the prototypes of the extensions that this back end calls.
#pragma once

#ifndef EGL_EGLEXT_PROTOTYPES
#define EGL_EGLEXT_PROTOTYPES 1
#endif
#ifndef GL_GLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES 1
#endif
#include <EGL/egl.h>
#include <GLES3/gl32.h>
// After the versions that they extend.
#include <EGL/eglext.h>
#include <GLES2/gl2ext.h>
