#include "sim/opencl/System.h"

#include <dlfcn.h>

namespace sim {

namespace {

SystemOpenCL load() {
    SystemOpenCL table;
    if (void* library = dlopen("libOpenCL.so.1", RTLD_NOW | RTLD_LOCAL)) {
#define HUEVANCE_CL_ENTRY(name, arguments) \
    table.name = reinterpret_cast<decltype(&::name)>(dlsym(library, #name));
#include "jni/opticommon/symb/OpenCLEntries.inc"
    }
    return table;
}

}  // namespace

const SystemOpenCL& systemOpenCL() {
    static const SystemOpenCL table = load();
    return table;
}

}  // namespace sim
