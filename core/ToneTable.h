// A tone curve for 8-bit samples as bytes: the mapped level depends on the sample alone.
#pragma once

#include <algorithm>

#include "core/Sample.h"

namespace huevance {

class ToneTable {
public:
    ToneTable() = default;
    ToneTable(const float* curve, int bins) {
        for (int i = 0; i < 256; ++i) {
            m_levels[i] =
                toSample<unsigned char>(curve[std::min(i, bins - 1)] + 0.5F, static_cast<float>(bins - 1));
        }
    }
    const unsigned char* get() const { return m_levels; }

private:
    unsigned char m_levels[256] = {};
};

}  // namespace huevance
