// The looks of tools/tuning/starter/, as the build embeds them.
#pragma once

#include <vector>

namespace tool {

struct EmbeddedLook {
    const char* name;
    const char* text;  // the file
};

// In the order of their host scene numbers.
const std::vector<EmbeddedLook>& embeddedLooks();

}  // namespace tool
