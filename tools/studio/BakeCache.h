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
    std::list<Entry> m_entries;  // the last used first
    std::mutex m_mutex;
};

}  // namespace tool
