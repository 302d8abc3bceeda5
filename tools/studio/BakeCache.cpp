#include "tools/studio/BakeCache.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace tool {

namespace {

constexpr std::size_t kMost = 48;  // of 50 KiB each, and with a LUT up to 7 MiB more

Look colorsOnly(const Look& look, TableReader reader) {
    Look only = look;
    only.name.clear();
    only.about.clear();
    only.satStrength = 1;
    only.claheStrength = 0;
    if (reader != TableReader::kBoth) {
        only.colorStrength = 1;
    }
    if (look.curveColor == 0) {
        only.curve = {};
    }
    return only;
}

// As bake() computes them, on every processor that there is.
std::vector<float> bakedColors(const Look& look, TableReader reader) {
    if (!isPointwise(look, reader)) {
        return bake(look, reader).color;
    }
    const CurveLevels curve = levelsOf(look.curve);
    Lattice lattice;
    const std::size_t threads = std::clamp(std::thread::hardware_concurrency(), 1U, 8U);
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        constexpr std::size_t kPiece = 64;
        for (std::size_t begin = next.fetch_add(kPiece); begin < Lattice::kPoints; begin = next.fetch_add(kPiece)) {
            for (std::size_t point = begin; point < begin + kPiece; ++point) {
                lattice.setPoint(point, bakePoint(look, curve, reader, point));
            }
        }
    };
    std::vector<std::jthread> others;
    for (std::size_t i = 1; i < threads; ++i) {
        others.emplace_back(work);
    }
    work();
    others.clear();
    return lattice.values();
}

}  // namespace

BakedTable BakeCache::get(const Look& look, TableReader reader) {
    Look only = colorsOnly(look, reader);
    std::shared_ptr<const std::vector<float>> color;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
            return entry.reader == reader && entry.look == only;
        });
        if (found != m_entries.end()) {
            m_entries.splice(m_entries.begin(), m_entries, found);
            color = found->color;
        }
    }
    if (!color) {
        color = std::make_shared<const std::vector<float>>(bakedColors(look, reader));
        const std::lock_guard lock(m_mutex);
        m_entries.push_front({std::move(only), reader, color});
        if (m_entries.size() > kMost) {
            m_entries.pop_back();
        }
    }
    BakedTable baked = bakeWithoutColor(look, reader);
    baked.color = *color;
    return baked;
}

}  // namespace tool
