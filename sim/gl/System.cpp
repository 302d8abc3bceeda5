#include "sim/gl/System.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace sim {

namespace {

struct Libraries {
    // Mesa's software driver reads this when it starts: by default it filters byte textures with 8-bit
    // weights and results, far coarser than the hardware of any phone.
    int exactSampling = setenv("GALLIVM_PERF", "no_aos_sampling", 0);

    // Under the system's own full names and in a scope of their own, so that neither library meets its
    // namesake here. Never closed: drivers do not like to be unloaded.
    void* eglLibrary = dlopen("libEGL.so.1", RTLD_NOW | RTLD_LOCAL);
    void* glLibrary = dlopen("libGLESv2.so.2", RTLD_NOW | RTLD_LOCAL);
    SystemEgl egl;
    SystemGl gl;

    Libraries() {
        if (!present()) {
            return;
        }
#define EGL_ENTRY(result, name, parameters, arguments) bind(eglLibrary, #name, egl.name);
#include "sim/gl/EglEntries.inc"
#define GL_ENTRY(result, name, parameters, arguments) bind(glLibrary, #name, gl.name);
#include "sim/gl/GlEntries.inc"
        if (egl.eglGetProcAddress != nullptr) {
            egl.getPlatformDisplay = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
                egl.eglGetProcAddress("eglGetPlatformDisplayEXT"));
        }
    }

    bool present() const { return eglLibrary != nullptr && glLibrary != nullptr; }

    template <typename Function>
    static void bind(void* library, const char* name, Function*& function) {
        function = reinterpret_cast<Function*>(dlsym(library, name));
    }
};

const Libraries& libraries() {
    static const Libraries instance;
    return instance;
}

}  // namespace

bool hasSystem() { return libraries().present(); }
const SystemEgl& systemEgl() { return libraries().egl; }
const SystemGl& systemGl() { return libraries().gl; }

void pinLibraries() {
    std::vector<std::string> names;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t /*size*/, void* list) {
            static_cast<std::vector<std::string>*>(list)->emplace_back(info->dlpi_name);
            return 0;
        },
        &names);
    for (const std::string& name : names) {
        if (void* library =
                name.empty() ? nullptr : dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE)) {
            dlclose(library);
        }
    }
}

}  // namespace sim
