// Colour tables of looks, kept: an edit changes one look, and often only its strengths.
#pragma once

#include <list>
#include <memory>
#include <mutex>
#include <vector>

#include "tools/tuning/Bake.h"

namespace tool {

// May be asked from several threads.
class BakeCache {
public:
    // As bake().
    BakedTable get(const Look& look, TableReader reader);

private:
    struct Entry {
        Look look;  // only what its colour table depends on
        TableReader reader;
        std::shared_ptr<const std::vector<float>> color;
    };
    struct Followed {
        ToneCurve curve;
        double amount;
        std::shared_ptr<const FollowedCurve> colors;
    };
    // Null where colours do not follow the curve.
    std::shared_ptr<const FollowedCurve> followed(const Look& look);

    std::list<Entry> m_entries;      // the last used first
    std::list<Followed> m_followed;  // also
    std::mutex m_mutex;
};

}  // namespace tool
