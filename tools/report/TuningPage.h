// What a tuning's tables do, and how two differ, as pages.
#pragma once

#include <string>

#include "tools/report/TuningDiff.h"

namespace tool {

std::string tuningPage(const TuningView& tuning);
std::string differencePage(const TuningView& a, const TuningView& b, const TuningDifference& difference);

}  // namespace tool
