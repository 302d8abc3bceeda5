// Pictures as RGB: what a screen shows, and what measurements and colour tables are about.
#pragma once

#include <cstddef>
#include <string>

#include "tools/picture/Picture.h"

namespace tool {

// Levels 0..255 of sRGB, red first, 3 bytes a pixel, rows without padding.
struct RgbPicture {
    Size size;
    Bytes levels;

    std::size_t pixels() const { return levels.size() / 3; }
    const std::uint8_t* row(int y) const {
        return levels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width) * 3;
    }
};

// A JPEG or PNG at its own chroma resolution, without the detour over 4:2:0, turned upright. Throws (exit
// code 3).
RgbPicture decodeRgb(const Bytes& contents, const std::string& name);
// Planes as RGB. Chroma is interpolated between samples that lie amid their 2 x 2 block, as JPEG has it.
RgbPicture rgbOf(const Picture& picture, ColorMatrix matrix);
// The same, turned upright: what a person sees.
RgbPicture uprightRgb(const Picture& picture, ColorMatrix matrix);
// A JPEG or PNG as planes that lie as a person sees them: an editor may have turned the pixels of a picture that
// its camera only marked as turned. Throws (exit code 3).
Picture decodeUpright(const Bytes& contents, const std::string& name);
// BT.601 planes.
Picture pictureOf(const RgbPicture& rgb);
Bytes encodePng(const RgbPicture& picture);
// As JPEG or PNG.
Bytes encodeRgb(const RgbPicture& rgb, FileKind kind, int quality);

// 128 + gain x (b - a) in each channel, limited to 0..255: gray where they are equal. Equal sizes.
RgbPicture difference(const RgbPicture& a, const RgbPicture& b, float gain);

}  // namespace tool
