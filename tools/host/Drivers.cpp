#include "tools/host/Drivers.h"

#define CL_TARGET_OPENCL_VERSION 200
#include <CL/cl.h>
#include <EGL/egl.h>
#include <GLES3/gl3.h>
#include <dlfcn.h>

namespace tool {

namespace {

using Details = decltype(DriverReport::details);

// A function of the library or of what it is linked with; null where neither has it.
#define FUNCTION(library, name) reinterpret_cast<decltype(&::name)>(dlsym(library, #name))

// The file that a function comes from.
std::string fileOf(void* function) {
    Dl_info info = {};
    return function != nullptr && dladdr(function, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname
                                                                                            : "";
}

// Which of the names is in the process. The library's own order.
std::string loadedOpenCl() {
    for (const char* name : {"/system/vendor/lib64/libOpenCL.so", "/vendor/lib64/libOpenCL.so",
                             "libOpenCL.so", "libOpenCL.so.1"}) {
        if (void* driver = dlopen(name, RTLD_LAZY | RTLD_LOCAL | RTLD_NOLOAD)) {
            const std::string path = fileOf(dlsym(driver, "clGetPlatformIDs"));
            dlclose(driver);
            return path.empty() ? name : path;
        }
    }
    return {};
}

template <typename Query, typename Object>
std::string openClText(Query query, Object object, cl_uint what) {
    std::size_t bytes = 0;
    if (query == nullptr || query(object, what, 0, nullptr, &bytes) != CL_SUCCESS || bytes == 0) {
        return {};
    }
    std::string text(bytes, '\0');
    if (query(object, what, bytes, text.data(), nullptr) != CL_SUCCESS) {
        return {};
    }
    return text.substr(0, text.find('\0'));
}

// Of the device that the library takes: the first GPU of the first platform. The calls go through the
// library's own table of entry points.
Details openClDetails(void* library) {
    const auto platforms = FUNCTION(library, clGetPlatformIDs);
    const auto devices = FUNCTION(library, clGetDeviceIDs);
    const auto ofDevice = FUNCTION(library, clGetDeviceInfo);
    cl_platform_id platform = nullptr;
    cl_device_id device = nullptr;
    if (platforms == nullptr || devices == nullptr || platforms(1, &platform, nullptr) != CL_SUCCESS ||
        devices(platform, CL_DEVICE_TYPE_GPU, 1, &device, nullptr) != CL_SUCCESS) {
        return {};
    }
    return {{"platform", openClText(FUNCTION(library, clGetPlatformInfo), platform, CL_PLATFORM_NAME)},
            {"device", openClText(ofDevice, device, CL_DEVICE_NAME)},
            {"version", openClText(ofDevice, device, CL_DEVICE_VERSION)},
            {"driver", openClText(ofDevice, device, CL_DRIVER_VERSION)}};
}

std::string textOf(const void* text) { return text != nullptr ? static_cast<const char*>(text) : ""; }

// Whether the back end OGL can draw into a camera's buffers.
std::string hasYuvTarget(const std::string& extensions) {
    return (" " + extensions + " ").find(" GL_EXT_YUV_target ") != std::string::npos ? "yes" : "no";
}

// A context as the library makes one, for as long as it takes to ask.
void askOpenGl(void* library, Details* egl, Details* gl) {
    const auto getDisplay = FUNCTION(library, eglGetDisplay);
    const auto initialize = FUNCTION(library, eglInitialize);
    const auto choose = FUNCTION(library, eglChooseConfig);
    const auto createSurface = FUNCTION(library, eglCreatePbufferSurface);
    const auto createContext = FUNCTION(library, eglCreateContext);
    const auto makeCurrent = FUNCTION(library, eglMakeCurrent);
    const auto destroySurface = FUNCTION(library, eglDestroySurface);
    const auto destroyContext = FUNCTION(library, eglDestroyContext);
    const auto terminate = FUNCTION(library, eglTerminate);
    const auto query = FUNCTION(library, eglQueryString);
    const auto getString = FUNCTION(library, glGetString);
    for (const bool there :
         {getDisplay != nullptr, initialize != nullptr, choose != nullptr, createSurface != nullptr,
          createContext != nullptr, makeCurrent != nullptr, destroySurface != nullptr,
          destroyContext != nullptr, terminate != nullptr, query != nullptr, getString != nullptr}) {
        if (!there) {
            return;
        }
    }
    EGLDisplay display = getDisplay(EGL_DEFAULT_DISPLAY);
    if (display == EGL_NO_DISPLAY || initialize(display, nullptr, nullptr) != EGL_TRUE) {
        return;
    }
    *egl = {{"vendor", textOf(query(display, EGL_VENDOR))}, {"version", textOf(query(display, EGL_VERSION))}};
    const EGLint wanted[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES3_BIT, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT,
                             EGL_NONE};
    const EGLint size[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
    const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (choose(display, wanted, &config, 1, &count) == EGL_TRUE && count == 1) {
        EGLSurface surface = createSurface(display, config, size);
        EGLContext context = createContext(display, config, EGL_NO_CONTEXT, version);
        if (context != EGL_NO_CONTEXT && makeCurrent(display, surface, surface, context) == EGL_TRUE) {
            *gl = {{"vendor", textOf(getString(GL_VENDOR))},
                   {"device", textOf(getString(GL_RENDERER))},
                   {"version", textOf(getString(GL_VERSION))},
                   {"GL_EXT_YUV_target", hasYuvTarget(textOf(getString(GL_EXTENSIONS)))}};
            makeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        }
        if (context != EGL_NO_CONTEXT) {
            destroyContext(display, context);
        }
        if (surface != EGL_NO_SURFACE) {
            destroySurface(display, surface);
        }
    }
    terminate(display);
}

}  // namespace

std::vector<DriverReport> driversOf(void* library) {
    Details egl;
    Details gl;
    askOpenGl(library, &egl, &gl);
    const std::string openCl = loadedOpenCl();
    return {{"Android log", fileOf(dlsym(library, "__android_log_print")), {}},
            {"hardware buffers", fileOf(dlsym(library, "AHardwareBuffer_allocate")), {}},
            {"OpenCL", openCl, openCl.empty() ? Details() : openClDetails(library)},
            {"EGL", fileOf(dlsym(library, "eglGetDisplay")), egl},
            {"OpenGL ES", fileOf(dlsym(library, "glGetString")), gl}};
}

}  // namespace tool
