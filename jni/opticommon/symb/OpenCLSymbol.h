// The run-time binding of the device's OpenCL driver. The library links against no driver: it exports
// forwarders under the standard names, and they call through this table.
//
// A forwarder whose entry point is missing (no driver, or half of one) logs a line and fails with
// CL_INVALID_OPERATION: as its result, or as null with that code in its error argument. On purpose: a call
// through the null slot would end the camera's process.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "jni/opticommon/symb/OpenCL.h"

namespace MNN {

class OpenCLSymbols {
public:
    OpenCLSymbols() = default;
    OpenCLSymbols(const OpenCLSymbols&) = delete;
    OpenCLSymbols& operator=(const OpenCLSymbols&) = delete;

    // Loads the first of candidatePaths() that loads. True when a library is loaded; false with a line for
    // each path that says why not.
    bool LoadOpenCLLibrary();
    // Loads one library in place of the one before it and resolves the entry points; those that it lacks are
    // null, which is no error. False when it cannot be loaded: then everything stays as it was.
    bool LoadLibraryFromPath(const std::string& path);
    // Closes the library and forgets its entry points. False when it cannot be closed.
    bool UnLoadOpenCLLibrary();

    // Where drivers are, in the order in which they are tried: a phone's two places, then by name for other
    // platforms. Change it before the first use only.
    static std::vector<std::string>& candidatePaths();

#define HUEVANCE_CL_ENTRY(name, arguments) decltype(&::name) name = nullptr;
#include "jni/opticommon/symb/OpenCLEntries.inc"

private:
    void* m_handle = nullptr;
};

// The owner of the process's one table. Construction binds the driver when nobody has yet; it can be repeated
// after a failure, an exception included. The table lives, and the driver stays loaded, until the process ends: drivers run threads
// of their own.
class OpenCLSymbolsOperator {
public:
    OpenCLSymbolsOperator();

    // Null when no driver could be loaded.
    static OpenCLSymbols* getOpenclSymbolsPtr() { return gOpenclSymbols().get(); }

private:
    static std::shared_ptr<OpenCLSymbols>& gOpenclSymbols();
};

}  // namespace MNN
