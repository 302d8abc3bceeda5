// LUT files of other programs, read and written: an RGB colour becomes another one.
#pragma once

#include <functional>
#include <string>

#include "tools/Files.h"
#include "tools/tuning/Adjustment.h"

namespace tool {

using RgbMap = std::function<Rgb(const Rgb&)>;

// A PNG is read as a HALD picture, all else by OpenColorIO: .cube, .3dl, .clf, .ctf, .csp, .spi1d, .spi3d,
// .look, .vf, .lut, .cub, .cdl and others, 1D, 3D or both. The colours are sRGB as in the file, limited to
// 0..1, in 16 bits. A single 3D table keeps its own grid up to 65 points an axis, others are sampled with
// 33. `source` is the file's name without its directory. Throws (exit code 3) with the reason for what is no
// LUT.
RgbLut readLutFile(const std::string& name);

// A HALD picture of level L holds L^2 x L^2 x L^2 colours in L^3 x L^3 pixels, red fastest, then green, then
// blue.
inline constexpr int kMinHaldLevel = 2, kMaxHaldLevel = 16;
// As a 16-bit PNG.
Bytes haldOf(int level, const RgbMap& map);

// A 3D .cube with `size` points an axis.
Bytes cubeOf(int size, const RgbMap& map, const std::string& title);

}  // namespace tool
