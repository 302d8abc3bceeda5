#include "tests/support/Model.h"

#include <algorithm>
#include <cmath>

namespace model {

namespace {

// Truncation into 0 .. top; not-a-number gives 0.
int level(float value, int top) {
    if (!(value >= 0)) {
        return 0;
    }
    return value >= static_cast<float>(top) ? top : static_cast<int>(value);
}

std::size_t at(int index) {
    return static_cast<std::size_t>(index);
}

struct Between {
    int index;
    float fraction;
};

// Where a sample lies between the outer tile centres of one axis.
Between betweenTiles(int sample, int tiles, int tileSize) {
    if (tiles == 1) {
        return {0, 0};
    }
    const int odd = tileSize % 2 == 1 ? tileSize : tileSize + 1;
    const int span = tiles * tileSize - odd;
    const float scale = static_cast<float>(tiles - 1) / static_cast<float>(span);
    const float f = scale * static_cast<float>(std::clamp(sample - tileSize / 2, 0, span));
    return {static_cast<int>(f), f - std::floor(f)};
}

void shiftAll(Picture& picture, int right, int mask) {
    for (auto* plane : {&picture.luma, &picture.chroma}) {
        for (int& v : *plane) {
            v = (right >= 0 ? v >> right : v << -right) & mask;
        }
    }
}

}  // namespace

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
    float sum = 0;
    for (const float count : histogram) {
        sum += count;
    }
    Curve h(256);
    if (sum == 0) {
        for (int i = 0; i < 256; ++i) {
            h[at(i)] = static_cast<float>(i);
        }
        return h;
    }
    for (int i = 0; i < 256; ++i) {
        h[at(i)] = histogram[at(i)] / sum;
    }
    const float a = 0.00390625F;
    const float L = (strength + 1.0F) * a;
    const float M = 0.5F * L;
    if (*std::max_element(h.begin(), h.end()) > L) {
        float eM = 0;
        float eL = 0;
        for (const float p : h) {
            eM += p > M ? p - M : 0.0F;
            eL += p > L ? p - L : 0.0F;
        }
        const float yM = M + eM * a - a;
        const float yL = L + eL * a - a;
        const float M2 = M * M;
        const float L2 = L * L;
        const float D = L * M2 - L2 * M + 1e-16F;
        const float A = (L * yM - M * yL) / D;
        const float B = (M2 * yL - L2 * yM) / D;
        const float C = a - L;
        const float T = (std::sqrt(B * B - 4.0F * A * C) - B) / (2.0F * A + 1e-16F);
        float excess = 0;
        for (float& p : h) {
            if (p > T) {
                excess += p - T;
                p = T;
            }
        }
        for (float& p : h) {
            p += excess * a;
        }
    }
    float cumulated = 0;
    for (float& p : h) {
        cumulated = cumulated + p;
        p = cumulated * 255.0F;
    }
    return h;
}

std::vector<Curve> tileCurves(const Picture& picture8, Grid grid, float strength) {
    const int tileWidth = picture8.width / grid.width;
    const int tileHeight = picture8.height / grid.height;
    std::vector<Curve> curves;
    for (int row = 0; row < grid.height; ++row) {
        for (int column = 0; column < grid.width; ++column) {
            std::vector<float> histogram(256);
            for (int y = 0; y < tileHeight; y += grid.rate) {
                for (int x = 0; x < tileWidth; x += grid.rate) {
                    histogram[at(picture8.y(column * tileWidth + x, row * tileHeight + y))] += 1;
                }
            }
            curves.push_back(clippedCurve(histogram, strength));
        }
    }
    return curves;
}

std::vector<Curve> smoothed(const std::vector<Curve>& curves, Grid grid) {
    std::vector<Curve> result(curves.size(), Curve(256));
    for (int row = 0; row < grid.height; ++row) {
        for (int column = 0; column < grid.width; ++column) {
            for (std::size_t bin = 0; bin < 256; ++bin) {
                float sum = 0;
                for (int dy = -1; dy <= 1; ++dy) {
                    for (int dx = -1; dx <= 1; ++dx) {
                        const int r = std::clamp(row + dy, 0, grid.height - 1);
                        const int c = std::clamp(column + dx, 0, grid.width - 1);
                        sum += curves[at(r * grid.width + c)][bin];
                    }
                }
                result[at(row * grid.width + column)][bin] = sum / 9.0F;
            }
        }
    }
    return result;
}

Curve widened(const Curve& curve, int bins) {
    const float s = 255.0F / static_cast<float>(bins - 1);
    Curve result;
    for (int i = 0; i < bins; ++i) {
        const float f = s * static_cast<float>(i);
        const int lower = std::min(static_cast<int>(f), 255);
        const float w = f - static_cast<float>(lower);
        result.push_back((1 / s) * ((1 - w) * curve[at(lower)] + w * curve[at(std::min(lower + 1, 255))]));
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
            const int below = std::min(row + 1, grid.height - 1) * grid.width;
            const int right = std::min(column + 1, grid.width - 1);
            const float q00 = curves[at(row * grid.width + column)][v];
            const float q01 = curves[at(row * grid.width + right)][v];
            const float q10 = curves[at(below + column)][v];
            const float q11 = curves[at(below + right)][v];
            picture.y(x, y) =
                level((1 - dy) * ((1 - dx) * q00 + dx * q01) + dy * ((1 - dx) * q10 + dx * q11) + 0.5F, top);
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
    for (int& v : picture.luma) {
        v = level(y[at(std::min(v, top))] + 0.5F, top);
    }
    for (int& v : picture.chroma) {
        v = level(uv[at(std::min(v, top))] + 0.5F, top);
    }
}

void correctColor(const Picture& before, Picture& after, int range) {
    const float h = static_cast<float>(range / 2);
    const auto mean = [](const Picture& p, int x, int y) {
        return static_cast<float>((p.y(x, y) + p.y(x + 1, y) + p.y(x, y + 1) + p.y(x + 1, y + 1)) / 4);
    };
    for (int j = 0; j < before.height / 2; ++j) {
        for (int x = 0; x + 1 < before.width; x += 2) {
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
        }
    }
}

void mapColor(Picture& picture, const std::vector<float>& lattice, int first, int range, float strength) {
    const float s = 15.0F / static_cast<float>(range - 1);
    const auto mix = [](float low, float high, float w) { return (1 - w) * low + w * high; };
    for (int j = 0; j < picture.height / 2; ++j) {
        for (int x = 0; x + 1 < picture.width; x += 2) {
            int* luma[] = {&picture.y(x, 2 * j), &picture.y(x + 1, 2 * j), &picture.y(x, 2 * j + 1),
                           &picture.y(x + 1, 2 * j + 1)};
            int& chromaA = picture.c(x + first, j);
            int& chromaB = picture.c(x + 1 - first, j);
            const float Ym = 0.25F * static_cast<float>(*luma[0] + *luma[1] + *luma[2] + *luma[3]);
            const float a = static_cast<float>(chromaA);
            const float b = static_cast<float>(chromaB);
            int low[3];
            int high[3];
            float w[3];
            const float coordinates[] = {s * Ym, s * a, s * b};
            for (int axis = 0; axis < 3; ++axis) {
                low[axis] = std::min(static_cast<int>(coordinates[axis]), 15);
                high[axis] = std::min(low[axis] + 1, 15);
                w[axis] = std::min(coordinates[axis] - static_cast<float>(low[axis]), 1.0F);
            }
            float out[3];
            for (int plane = 0; plane < 3; ++plane) {
                const auto point = [&](int iY, int iA, int iB) {
                    return lattice[at(plane * 4096 + iB * 256 + iA * 16 + iY)];
                };
                float alongY[2];
                for (int iY = 0; iY < 2; ++iY) {
                    float alongA[2];
                    for (int iA = 0; iA < 2; ++iA) {
                        const int yy = iY == 0 ? low[0] : high[0];
                        const int aa = iA == 0 ? low[1] : high[1];
                        alongA[iA] = mix(point(yy, aa, low[2]), point(yy, aa, high[2]), w[2]);
                    }
                    alongY[iY] = mix(alongA[0], alongA[1], w[1]);
                }
                out[plane] = mix(alongY[0], alongY[1], w[0]);
            }
            const float delta = strength * (out[0] - Ym);
            for (int* sample : luma) {
                *sample = level(static_cast<float>(*sample) + delta + 0.5F, range - 1);
            }
            chromaA = level((1 - strength) * a + strength * out[1] + 0.5F, range - 1);
            chromaB = level((1 - strength) * b + strength * out[2] + 0.5F, range - 1);
        }
    }
}

std::vector<float> skinMask(const Picture& picture8, bool uFirst) {
    std::vector<float> mask(picture8.luma.size());
    for (int y = 0; y < picture8.height / 2 * 2; ++y) {
        for (int x = 0; x < picture8.width / 2 * 2; ++x) {
            const int pair = x / 2 * 2;
            const float U = static_cast<float>(picture8.c(uFirst ? pair : pair + 1, y / 2)) / 255.0F;
            const float V = static_cast<float>(picture8.c(uFirst ? pair + 1 : pair, y / 2)) / 255.0F;
            const float u1 = U - 0.40378553F;
            const float v1 = V - 0.64456809F;
            const float u2 = U - 0.48221445F;
            const float v2 = V - 0.57143188F;
            const float d1 = std::sqrt(u1 * u1 + v1 * v1);
            const float d2 = std::sqrt(u2 * u2 + v2 * v2);
            mask[at(y * picture8.width + x)] = std::min(0.14F / (d1 + d2 + 1e-16F), 1.0F);
        }
    }
    return mask;
}

void protect(const Picture& before, Picture& after, const std::vector<float>& mask) {
    const auto blend = [](int from, int to, float m) {
        return level(m * static_cast<float>(from) + (1 - m) * static_cast<float>(to), 65535);
    };
    for (int y = 0; y < after.height; ++y) {
        for (int x = 0; x < after.width; ++x) {
            after.y(x, y) = blend(before.y(x, y), after.y(x, y), mask[at(y * after.width + x)]);
        }
    }
    for (int j = 0; j < after.height / 2; ++j) {
        for (int x = 0; x < after.width / 2 * 2; ++x) {
            after.c(x, j) = blend(before.c(x, j), after.c(x, j), mask[at(2 * j * after.width + x / 2 * 2)]);
        }
    }
}

Picture enhanced(Picture picture, const Tuning& tuning, int format, int bits) {
    const int range = 1 << bits;
    const int highAligned = bits != 8 && format == 10 ? 16 - bits : 0;
    shiftAll(picture, highAligned, 0xFFFF);
    Picture picture8 = picture;
    shiftAll(picture8, bits - 8, 0xFF);
    const auto wide = [&](const Curve& curve) { return bits == 8 ? curve : widened(curve, range); };

    const bool hasSkin = format == 5 || format == 6 || format == 9 || format == 10;
    std::vector<float> mask(picture.luma.size());
    if (tuning.maskSource == 1) {
        mask = tuning.hostMask;
    } else if (tuning.maskSource == 2 && hasSkin) {
        mask = skinMask(picture8, format != 5);
    }
    Picture backup = picture;
    if (tuning.clahe) {
        std::vector<Curve> curves =
            smoothed(tileCurves(picture8, tuning.grid, tuning.claheStrength), tuning.grid);
        std::transform(curves.begin(), curves.end(), curves.begin(), wide);
        mapTiles(picture, curves, tuning.grid);
    }
    if (tuning.curve) {
        mapCurves(picture, wide(tuning.yCurve), wide(saturationCurve(tuning.satStrength)));
        backup.chroma = picture.chroma;
    }
    if (tuning.correct && (bits == 8 ? format == 5 || format == 6 : format == 9 || format == 10)) {
        correctColor(backup, picture, range);
    }
    if (tuning.color && (bits != 8 || format == 5 || format == 6)) {
        std::vector<float> lattice = tuning.lattice;
        if (bits != 8) {
            const float factor = static_cast<float>(range - 1) / 255.0F;
            std::transform(lattice.begin(), lattice.end(), lattice.begin(),
                           [&](float v) { return v * factor; });
        }
        mapColor(picture, lattice, bits == 8 && format == 5 ? 1 : 0, range, tuning.colorStrength);
    }
    if (tuning.protect) {
        protect(backup, picture, mask);
    }
    shiftAll(picture, -highAligned, 0xFFFF);
    return picture;
}

Tuning faded(const Tuning& p, const Tuning& q, int k, int T) {
    const float w = static_cast<float>(T - 1 - k) / static_cast<float>(T);
    const auto mix = [w](float before, float now) { return w * before + (1 - w) * now; };
    Tuning result = q;
    result.colorStrength = mix(p.colorStrength, q.colorStrength);
    result.satStrength = mix(p.satStrength, q.satStrength);
    result.claheStrength = mix(p.claheStrength, q.claheStrength);
    std::transform(p.yCurve.begin(), p.yCurve.end(), q.yCurve.begin(), result.yCurve.begin(), mix);
    std::transform(p.lattice.begin(), p.lattice.end(), q.lattice.begin(), result.lattice.begin(), mix);
    return result;
}

}  // namespace model
