// Changes of a look in words: KEY=VALUE.
#pragma once

#include <string>

#include "tools/tuning/Look.h"

namespace tool {

// "colorStrength=0.8", "curve=0,0 64,50 255,255", "vibrance.amount=0.2", "selective.2.hue=140" (the second
// one of its kind; the next one after the last is added), "tint.shadows.chroma=0.02", "warmth=off". An
// adjustment without a number is the first of its kind. Throws a usage error that says what would be right;
// the look is then as it was.
void editLook(Look& look, const std::string& keyAndValue);

// "X,Y", levels. Throws a usage error.
CurvePoint parseCurvePoint(const std::string& text);

// Every key with its range and meaning, one a line.
std::string lookKeyList();

}  // namespace tool
