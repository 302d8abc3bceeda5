// The sample photographs as frames.
#pragma once

#include <string>
#include <vector>

#include "tests/support/Frames.h"

namespace test {

// The middle of a sample ("portrait" or "still_life") cropped to the frame, U before V; false where this
// build cannot read photographs.
bool fillWithPhoto(Frame& frame, const std::string& name);

}  // namespace test
