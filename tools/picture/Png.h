// PNG, through RGB with a named matrix.
#pragma once

#include "tools/picture/Picture.h"

namespace tool {

// Colour or gray, any depth; what is transparent is shown on white.
Picture decodePng(const Bytes& contents, ColorMatrix matrix, const std::string& name);
GrayPicture decodePngGray(const Bytes& contents, const std::string& name);
Bytes encodePng(const Picture& picture, ColorMatrix matrix);

}  // namespace tool
