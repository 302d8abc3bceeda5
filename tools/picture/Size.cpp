#include "tools/picture/Size.h"

#include <string_view>

#include "tools/Numbers.h"
#include "tools/ToolError.h"

namespace tool {

bool sizeInRange(long long width, long long height) {
    return width >= 1 && height >= 1 && width <= kMaxSide && height <= kMaxSide &&
           width * height <= kMaxPixels;
}

Size parseSize(const std::string& text) {
    const std::size_t x = text.find('x');
    if (x != std::string::npos) {
        const auto width = parseNumber<int>(std::string_view(text).substr(0, x), 1);
        const auto height = parseNumber<int>(std::string_view(text).substr(x + 1), 1);
        if (width && height && sizeInRange(*width, *height)) {
            return {*width, *height};
        }
    }
    throw usageError("'" + text + "' is no size: WxH is wanted, such as 4000x3000 (at most " +
                     std::to_string(kMaxPixels >> 20) + " Mi samples)");
}

}  // namespace tool
