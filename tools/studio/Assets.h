// The files of tools/studio/page/, as the build embeds them.
#pragma once

#include <string_view>
#include <vector>

namespace tool {

struct Asset {
    std::string_view name;  // without a directory
    std::string_view contents;
};

const std::vector<Asset>& embeddedAssets();

}  // namespace tool
