// Sizes of pictures and frames, in samples.
#pragma once

#include <string>

namespace tool {

// Frames and pictures beyond these are refused before anything is allocated.
inline constexpr int kMaxSide = 65535;
inline constexpr long long kMaxPixels = 1LL << 28;

struct Size {
    int width = 0;
    int height = 0;
    bool operator==(const Size&) const = default;
};

// "4000x3000". Throws a usage error for anything else and for sizes out of range.
Size parseSize(const std::string& text);
// Throws (with `code` file or usage being the caller's choice of exception text) when a size is out of range.
bool sizeInRange(long long width, long long height);

}  // namespace tool
