// A LUT's tones for the curve stage, which works on single samples, in place of the table, which does not.
#pragma once

#include <functional>

#include "tools/tuning/Lattice.h"
#include "tools/tuning/ToneCurve.h"

namespace tool {

// The rising curve that does to luma what `map` does to the luma of greys, as far as a curve ahead of the
// colour table may: what one level before it is several behind it only where that is so for greys, and the
// table has to pull apart again at most three times what it pushed together, so that the rounding between the
// two does not show. The identity, exactly, where the map moves no luma to speak of.
CurveLevels shaperOf(const std::function<Yuv(const Yuv&)>& map);

}  // namespace tool
