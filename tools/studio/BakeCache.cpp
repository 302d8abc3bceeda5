#include "tools/studio/BakeCache.h"

#include <algorithm>

namespace tool {

namespace {

constexpr std::size_t kMostFollowed = 4;  // of 3 MiB each
constexpr std::size_t kMost = 48;         // of 50 KiB each, and with a LUT up to 7 MiB more

Look colorsOnly(const Look& look, TableReader reader) {
    Look only = look;
    only.name.clear();
    only.about.clear();
    only.satStrength = 1;
    only.claheStrength = 0;
    if (reader != TableReader::kBoth && reader != TableReader::kShaped) {
        only.colorStrength = 1;
    }
    if (look.curveColor == 0) {
        only.curve.points.clear();  // levels stop the shaping
    }
    return only;
}

}  // namespace

std::shared_ptr<const FollowedCurve> BakeCache::followed(const Look& look) {
    if (look.curveColor == 0) {
        return nullptr;
    }
    const std::lock_guard lock(m_mutex);
    const auto found = std::find_if(m_followed.begin(), m_followed.end(), [&](const Followed& one) {
        return one.curve == look.curve && one.amount == look.curveColor;
    });
    if (found != m_followed.end()) {
        m_followed.splice(m_followed.begin(), m_followed, found);
    } else {
        m_followed.push_front({look.curve, look.curveColor,
                               std::make_shared<const FollowedCurve>(levelsOf(look.curve), look.curveColor)});
        if (m_followed.size() > kMostFollowed) {
            m_followed.pop_back();
        }
    }
    return m_followed.front().colors;
}

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
    const auto colors = followed(look);
    if (!color) {
        color = std::make_shared<const std::vector<float>>(bake(look, reader, colors.get()).color);
        const std::lock_guard lock(m_mutex);
        m_entries.push_front({std::move(only), reader, color});
        if (m_entries.size() > kMost) {
            m_entries.pop_back();
        }
    }
    BakedTable baked = bakeWithoutColor(look, reader, colors.get());
    baked.color = *color;
    return baked;
}

}  // namespace tool
