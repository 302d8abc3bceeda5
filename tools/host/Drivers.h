// The drivers behind the library: asked through it, so that they are the ones that it uses.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tool {

struct DriverReport {
    std::string name;
    std::string path;  // of the file; empty when there is none
    // What it says of itself: "platform", "device", "version", ... with their values; empty where it cannot
    // be asked.
    std::vector<std::pair<std::string, std::string>> details;
};

// The services of a phone that a library from dlopen uses. Its OpenCL is known once a GPU handle has been set
// up.
std::vector<DriverReport> driversOf(void* library);

}  // namespace tool
