// PNG, through RGB with a named matrix.
#pragma once

#include "tools/picture/Picture.h"

namespace tool {

// Colour or gray, any depth; what is transparent is shown on white. 16 bits a sample give deep planes, too.
Picture decodePng(const Bytes& contents, ColorMatrix matrix, const std::string& name);
GrayPicture decodePngGray(const Bytes& contents, const std::string& name);
// Turned upright; 16 bits a sample when the picture has deep planes.
Bytes encodePng(const Picture& picture, ColorMatrix matrix);
// sRGB of 16 bits a sample, 3 samples a pixel, rows without padding.
Bytes encodePng16(const std::vector<std::uint16_t>& rgb, Size size);

}  // namespace tool
