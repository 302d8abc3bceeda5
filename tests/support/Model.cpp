#include "tests/support/Model.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <utility>

namespace model {

namespace {

// Truncation into 0 .. top; not-a-number gives 0.
int level(float value, int top) {
    return value >= 0 ? static_cast<int>(std::min(value, static_cast<float>(top))) : 0;
}

std::size_t at(int index) { return static_cast<std::size_t>(index); }

float mix(float low, float high, float w) { return (1 - w) * low + w * high; }

// The tile centre at or before a sample of one axis, and how far it is to the next one.
std::pair<int, float> betweenTiles(int sample, int tiles, int tileSize) {
    if (tiles == 1) {
        return {0, 0.0F};
    }
    const int span = tiles * tileSize - (tileSize | 1);
    const float scale = static_cast<float>(tiles - 1) / static_cast<float>(span);
    const float f = scale * static_cast<float>(std::clamp(sample - tileSize / 2, 0, span));
    return {static_cast<int>(f), f - std::floor(f)};
}

// The left luma column and the chroma row of every 2 x 2 block.
void forBlocks(const Picture& picture, const auto& change) {
    for (int j = 0; j < picture.height / 2; ++j) {
        for (int x = 0; x + 1 < picture.width; x += 2) {
            change(x, j);
        }
    }
}

void forAll(auto& samples, const auto& change) {
    std::transform(samples.begin(), samples.end(), samples.begin(), change);
}

void shiftAll(Picture& picture, int right, int mask) {
    const auto shift = [=](int v) { return (right >= 0 ? v >> right : v << -right) & mask; };
    forAll(picture.luma, shift);
    forAll(picture.chroma, shift);
}

Curve widened(const Curve& curve, int bins) {
    const float s = 255.0F / static_cast<float>(bins - 1);
    Curve result;
    for (int i = 0; i < bins; ++i) {
        const float f = s * static_cast<float>(i);
        const int lower = std::min(static_cast<int>(f), 255);
        const float next = curve[at(std::min(lower + 1, 255))];
        result.push_back((1 / s) * mix(curve[at(lower)], next, f - static_cast<float>(lower)));
    }
    return result;
}

void mapTiles(Picture& picture, const std::vector<Curve>& curves, Grid grid) {
    const int top = static_cast<int>(curves[0].size()) - 1;
    for (int y = 0; y < picture.height; ++y) {
        const auto [row, dy] = betweenTiles(y, grid.height, picture.height / grid.height);
        for (int x = 0; x < picture.width; ++x) {
            const auto [column, dx] = betweenTiles(x, grid.width, picture.width / grid.width);
            const std::size_t v = at(std::min(picture.y(x, y), top));
            const auto along = [&, left = column, w = dx](int tileRow) {
                const Curve* line = &curves[at(std::min(tileRow, grid.height - 1) * grid.width)];
                return mix(line[left][v], line[std::min(left + 1, grid.width - 1)][v], w);
            };
            picture.y(x, y) = level(mix(along(row), along(row + 1), dy) + 0.5F, top);
        }
    }
}

Curve saturationCurve(float satStrength) {
    Curve curve;
    for (int i = 0; i < 256; ++i) {
        curve.push_back(std::clamp(satStrength * static_cast<float>(i - 128) + 128.0F, 0.0F, 255.0F));
    }
    return curve;
}

void mapCurves(Picture& picture, const Curve& y, const Curve& uv) {
    const int top = static_cast<int>(y.size()) - 1;
    forAll(picture.luma, [&](int v) { return level(y[at(std::min(v, top))] + 0.5F, top); });
    forAll(picture.chroma, [&](int v) { return level(uv[at(std::min(v, top))] + 0.5F, top); });
}

// `first` is the column of axis A's sample in a chroma pair.
void mapColor(Picture& picture, const std::vector<float>& lattice, int first, int range, float strength) {
    const float s = 15.0F / static_cast<float>(range - 1);
    forBlocks(picture, [&](int x, int j) {
        int* luma[] = {&picture.y(x, 2 * j), &picture.y(x + 1, 2 * j), &picture.y(x, 2 * j + 1),
                       &picture.y(x + 1, 2 * j + 1)};
        int* chroma[] = {&picture.c(x + first, j), &picture.c(x + 1 - first, j)};
        const float Ym = 0.25F * static_cast<float>(*luma[0] + *luma[1] + *luma[2] + *luma[3]);
        const float in[] = {Ym, static_cast<float>(*chroma[0]), static_cast<float>(*chroma[1])};
        int low[3], high[3];
        float w[3];
        for (int axis = 0; axis < 3; ++axis) {
            low[axis] = std::min(static_cast<int>(s * in[axis]), 15);
            high[axis] = std::min(low[axis] + 1, 15);
            w[axis] = std::min(s * in[axis] - static_cast<float>(low[axis]), 1.0F);
        }
        const auto out = [&](int plane) {
            const auto alongB = [&](int iY, int iA) {
                const float* line = &lattice[at(plane * 4096 + iA * 16 + iY)];
                return mix(line[low[2] * 256], line[high[2] * 256], w[2]);
            };
            const auto alongA = [&](int iY) { return mix(alongB(iY, low[1]), alongB(iY, high[1]), w[1]); };
            return mix(alongA(low[0]), alongA(high[0]), w[0]);
        };
        const float delta = strength * (out(0) - Ym);
        for (int* sample : luma) {
            *sample = level(static_cast<float>(*sample) + delta + 0.5F, range - 1);
        }
        for (int i = 0; i < 2; ++i) {
            *chroma[i] = level(mix(in[1 + i], out(1 + i), strength) + 0.5F, range - 1);
        }
    });
}

}  // namespace

void correctColor(Picture before, Picture& after, int range) {
    const float h = static_cast<float>(range / 2);
    const auto mean = [](Picture& p, int x, int y) {
        return static_cast<float>((p.y(x, y) + p.y(x + 1, y) + p.y(x, y + 1) + p.y(x + 1, y + 1)) / 4);
    };
    forBlocks(before, [&](int x, int j) {
        const float Ys = mean(before, x, 2 * j);
        const float Yd = mean(after, x, 2 * j);
        const float u = static_cast<float>(before.c(x, j)) - h;
        const float v = static_cast<float>(before.c(x + 1, j)) - h;
        const float C = std::sqrt(u * u + v * v);
        const float Ct = C * Ys / (Yd + 1e-16F);
        const float g = std::sqrt((Yd * Yd + Ct * Ct) / (Ys * Ys + C * C + 1e-16F));
        const float k = (h - 1) / (std::max(std::fabs(u), std::fabs(v)) + 1e-16F);
        const float s = std::min(std::clamp(g, 0.5F, 2.0F), k);
        after.c(x, j) = level(u * s + h, range - 1);
        after.c(x + 1, j) = level(v * s + h, range - 1);
    });
}

std::vector<float> skinMask(Picture picture8, bool uFirst) {
    std::vector<float> mask(picture8.luma.size());
    forBlocks(picture8, [&](int x, int j) {
        const float U = static_cast<float>(picture8.c(uFirst ? x : x + 1, j)) / 255.0F;
        const float V = static_cast<float>(picture8.c(uFirst ? x + 1 : x, j)) / 255.0F;
        const auto distance = [&](float u, float v) {
            return std::sqrt((U - u) * (U - u) + (V - v) * (V - v));
        };
        const float distances = distance(0.40378553F, 0.64456809F) + distance(0.48221445F, 0.57143188F);
        for (const int cell : {0, 1, picture8.width, picture8.width + 1}) {
            mask[at(2 * j * picture8.width + x + cell)] = std::min(0.14F / (distances + 1e-16F), 1.0F);
        }
    });
    return mask;
}

void protect(Picture before, Picture& after, const std::vector<float>& mask, int top) {
    const auto blend = [top](int from, int& to, float m) {
        to = level(mix(static_cast<float>(to), static_cast<float>(from), m), top);
    };
    for (std::size_t i = 0; i < mask.size(); ++i) {
        blend(before.luma[i], after.luma[i], mask[i]);
    }
    forBlocks(after, [&](int x, int j) {
        for (const int column : {x, x + 1}) {
            blend(before.c(column, j), after.c(column, j), mask[at(2 * j * after.width + x)]);
        }
    });
}

std::vector<int> Picture::samples() const {
    std::vector<int> all = luma;
    all.insert(all.end(), chroma.begin(), chroma.end());
    return all;
}

Picture fromFrame(const test::Frame& frame) {
    const std::vector<int> all = frame.samples();
    const auto split = all.begin() + frame.roi().width * frame.roi().height;
    return {frame.roi().width, frame.roi().height, {all.begin(), split}, {split, all.end()}};
}

Curve clippedCurve(const std::vector<float>& histogram, float strength) {
    const float sum = std::accumulate(histogram.begin(), histogram.end(), 0.0F);
    Curve h = histogram;
    if (sum == 0) {
        std::iota(h.begin(), h.end(), 0.0F);
        return h;
    }
    forAll(h, [=](float count) { return count / sum; });
    const float a = 0.00390625F;
    const float L = (strength + 1.0F) * a;
    const float M = 0.5F * L;
    if (*std::max_element(h.begin(), h.end()) > L) {
        const auto excess = [&h](float limit) {
            const auto add = [=](float all, float p) { return p > limit ? all + (p - limit) : all; };
            return std::accumulate(h.begin(), h.end(), 0.0F, add);
        };
        const float yM = M + excess(M) * a - a;
        const float yL = L + excess(L) * a - a;
        const float D = L * (M * M) - (L * L) * M + 1e-16F;
        const float A = (L * yM - M * yL) / D;
        const float B = (M * M * yL - L * L * yM) / D;
        const float C = a - L;
        const float T = (std::sqrt(B * B - 4.0F * A * C) - B) / (2.0F * A + 1e-16F);
        const float share = excess(T);
        forAll(h, [=](float p) { return std::min(p, T) + share * a; });
    }
    std::partial_sum(h.begin(), h.end(), h.begin());
    forAll(h, [](float p) { return p * 255.0F; });
    return h;
}

std::vector<Curve> tileCurves(Picture picture8, Grid grid, float strength) {
    const int tileWidth = picture8.width / grid.width;
    const int tileHeight = picture8.height / grid.height;
    const int tiles = grid.width * grid.height;
    std::vector<Curve> curves;
    for (int tile = 0; tile < tiles; ++tile) {
        std::vector<float> histogram(256);
        for (int y = 0; y < tileHeight; y += grid.rate) {
            for (int x = 0; x < tileWidth; x += grid.rate) {
                const int row = tile / grid.width * tileHeight + y;
                histogram[at(picture8.y(tile % grid.width * tileWidth + x, row))] += 1;
            }
        }
        curves.push_back(clippedCurve(histogram, strength));
    }
    std::vector<Curve> smoothed(at(tiles), Curve(256));
    for (int i = 0; i < 9 * tiles; ++i) {  // nine neighbours, row by row
        const int row = std::clamp(i / 9 / grid.width + i % 9 / 3 - 1, 0, grid.height - 1);
        const int column = std::clamp(i / 9 % grid.width + i % 3 - 1, 0, grid.width - 1);
        Curve& sum = smoothed[at(i / 9)];
        std::transform(sum.begin(), sum.end(), curves[at(row * grid.width + column)].begin(), sum.begin(),
                       std::plus<>());
    }
    for (Curve& sum : smoothed) {
        forAll(sum, [](float s) { return s / 9.0F; });
    }
    return smoothed;
}

Picture enhanced(Picture picture, const Tuning& tuning, int format, int bits) {
    const int range = 1 << bits;
    const int highAligned = bits != 8 && format == 10 ? 16 - bits : 0;
    shiftAll(picture, highAligned, 0xFFFF);
    Picture picture8 = picture;
    shiftAll(picture8, bits - 8, 0xFF);
    const auto wide = [&](const Curve& curve) { return bits == 8 ? curve : widened(curve, range); };

    const bool format8 = format == 5 || format == 6;
    const bool format16 = format == 9 || format == 10;
    std::vector<float> mask(picture.luma.size());
    if (tuning.maskSource == 1) {
        mask = tuning.hostMask;
    } else if (tuning.maskSource == 2 && (format8 || format16)) {
        mask = skinMask(picture8, format != 5);
    }
    Picture backup = picture;
    if (tuning.clahe) {
        std::vector<Curve> curves = tileCurves(picture8, tuning.grid, tuning.claheStrength);
        forAll(curves, wide);
        mapTiles(picture, curves, tuning.grid);
    }
    if (tuning.curve) {
        mapCurves(picture, wide(tuning.yCurve), wide(saturationCurve(tuning.satStrength)));
        backup.chroma = picture.chroma;
    }
    if (tuning.correct && (bits == 8 ? format8 : format16)) {
        correctColor(backup, picture, range);
    }
    if (tuning.color && (bits != 8 || format8)) {
        std::vector<float> lattice = tuning.lattice;
        const float factor = static_cast<float>(range - 1) / 255.0F;  // 1 at 8 bits
        forAll(lattice, [=](float v) { return v * factor; });
        mapColor(picture, lattice, bits == 8 && format == 5 ? 1 : 0, range, tuning.colorStrength);
    }
    if (tuning.protect) {
        protect(backup, picture, mask, bits == 8 ? 255 : 65535);
    }
    shiftAll(picture, -highAligned, 0xFFFF);
    return picture;
}

Tuning faded(const Tuning& p, const Tuning& q, int k, int T) {
    const float w = static_cast<float>(T - 1 - k) / static_cast<float>(T);
    const auto blend = [w](float before, float now) { return mix(now, before, w); };
    Tuning result = q;
    result.colorStrength = blend(p.colorStrength, q.colorStrength);
    result.satStrength = blend(p.satStrength, q.satStrength);
    result.claheStrength = blend(p.claheStrength, q.claheStrength);
    std::transform(p.yCurve.begin(), p.yCurve.end(), q.yCurve.begin(), result.yCurve.begin(), blend);
    std::transform(p.lattice.begin(), p.lattice.end(), q.lattice.begin(), result.lattice.begin(), blend);
    return result;
}

}  // namespace model
