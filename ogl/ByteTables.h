// Curves and colour tables as bytes, truncated, because this back end looks them up in textures of bytes.
// Their fusion uses an integer weight, unlike that of core's float tables.
#pragma once

#include "core/ColorLut.h"
#include "core/Geometry.h"

namespace ogl {

inline constexpr int kCurveBytes = huevance::kBins8;
inline constexpr int kColorBytes = huevance::kColorLutFloats;

// Each of `count` levels truncated to a byte.
void truncateToBytes(const float* levels, int count, unsigned char* bytes);

// Three planes of a lattice, one after the other, to texels of three bytes each: kColorBytes.
void interleaveColors(const float* planes, unsigned char* texels);

// A row of the host's mask, which protects where it is 1, for the shader, which keeps the enhanced value
// where its mask is 1: 255 x (1 - m), rounded.
void invertMask(const float* mask, int count, unsigned char* bytes);

// The chroma curve that scales around 128 by a strength: kCurveBytes.
void buildUvCurveMap(float satStrength, unsigned char* curve);

// (T - 1 - k) / T in integers, on purpose: 0 throughout a fade, so that the new table counts at once. 0 for T
// below 1.
int tableWeight(int transFrameNum, int frame);

// weight x previous + (1 - weight) x current for each byte, within 0 .. 255.
void fuseBytes(const unsigned char* previous, const unsigned char* current, int count, int weight,
               unsigned char* fused);

}  // namespace ogl
