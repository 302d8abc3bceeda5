// From a look to what the library reads: three strengths and two tables.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/tuning/Look.h"

namespace tool {

// Who reads a tuning's tables. OGL takes colorStrength reversed (0 is the table in full), reads tables
// between texel centres instead of levels, and cuts them to whole levels.
enum class TableReader {
    kLevels,  // CPU, NEON and GPU
    kShaped,  // the same, with the curve stage always right ahead of the table: it may take a LUT's tones
    kTexels,  // OGL, for photos and previews
    kBoth,    // OGL for one of the two
};
TableReader tableReader(const std::string& photo, const std::string& frame);

// The same, with the switches in photoSet.ini and frameSet.ini (0 where there is none).
using StageSwitch = std::function<int(const char* key)>;
TableReader tableReader(const std::string& photo, const StageSwitch& photoSwitch, const std::string& frame,
                        const StageSwitch& frameSwitch);

struct BakedTable {
    float colorStrength = 1, satStrength = 1, claheStrength = 0;
    std::vector<float> curve;  // 256
    std::vector<float> color;  // Lattice::kFloats
};

// Computed values are multiples of 1/1024 level, so that the last bits of a machine's mathematics do not
// show; for OGL whole levels. What a look keeps (levels of a curve, a single table) comes out bit for bit.
//
// For both kinds of readers the colour strength is 1/2, which is the same for both, and the table moves
// colours by twice as much; only a look that is nothing but a kept table keeps its strength, as the photos'
// back end takes it.
//
// For kShaped the curve of a look with LUTs is its tone curve and the tones of the whole look's colours
// behind it, and the table what remains; but not where the look keeps the levels of a curve.
//
// Most of the time goes into colours that follow the curve: `followed`, of the look's curve and curveColor,
// is asked for them.
class FollowedCurve;
BakedTable bake(const Look& look, TableReader reader = TableReader::kLevels,
                const FollowedCurve* followed = nullptr);

// The parts of bake(), for those who look at a table without making all of it, which takes a thousand times
// as long as its other parts: the strengths, those and the curve, and a single point's colour,
// where the look computes each for itself (imported LUTs are fitted to what lies between the points, too).
BakedTable bakeStrengths(const Look& look, TableReader reader);
BakedTable bakeWithoutColor(const Look& look, TableReader reader, const FollowedCurve* followed = nullptr);
bool isPointwise(const Look& look, TableReader reader);
Yuv bakePoint(const Look& look, const CurveLevels& curve, TableReader reader, std::size_t point,
              const FollowedCurve* followed = nullptr);

// A look that is nothing but a kept table, so that both kinds of readers show it alike: with a strength of
// 1/2, and its table's colours moved for that. Other looks come back as they are.
Look forBothReaders(const Look& look);

// What `colorStrength` in a file means as a look's: the inverse of bake for kept tables.
double lookStrength(float fileStrength, bool reversed);

// What the tone curve and `curveColor` do to a colour that the camera gave: `color` is behind the curve
// stage.
Yuv followCurve(const CurveLevels& curve, double amount, const Yuv& color);

// followCurve() of one curve, which remembers what it was asked for: to bake a look again whose adjustments
// alone have changed takes a fifth of the time. May be asked from several threads.
class FollowedCurve {
public:
    FollowedCurve(const CurveLevels& curve, double amount);
    ~FollowedCurve();
    FollowedCurve(const FollowedCurve&) = delete;
    FollowedCurve& operator=(const FollowedCurve&) = delete;
    Yuv at(const Yuv& color) const;

private:
    struct Colors;
    static constexpr std::size_t kParts = 16;
    CurveLevels m_curve;
    double m_amount;
    std::unique_ptr<Colors[]> m_colors;
};

}  // namespace tool
