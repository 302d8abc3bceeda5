#include <algorithm>
#include <cmath>

#include "tests/ogl/support/OglModel.h"

namespace test {

namespace {

struct Yuv {
    double y, u, v;
};

double mix(double a, double b, double t) { return a * (1.0 - t) + b * t; }

Yuv mix(const Yuv& a, const Yuv& b, double t) {
    return {mix(a.y, b.y, t), mix(a.u, b.u, t), mix(a.v, b.v, t)};
}

// Where a coordinate falls between two texels.
struct Tap {
    int left, right;
    double weight;
};

Tap tap(double coordinate, int size, bool repeats) {
    const double at = coordinate * size - 0.5;
    const double left = std::floor(at);
    const auto wrap = [&](int i) { return repeats ? (i % size + size) % size : std::clamp(i, 0, size - 1); };
    return {wrap(static_cast<int>(left)), wrap(static_cast<int>(left) + 1), at - left};
}

// What look(column, row) gives, between four of them.
template <typename Look>
double blend(const Tap& x, const Tap& y, Look look) {
    return mix(mix(look(x.left, y.left), look(x.right, y.left), x.weight),
               mix(look(x.left, y.right), look(x.right, y.right), x.weight), y.weight);
}

// One channel of a plane of `channels` interleaved samples, in rows of `pitch`.
double sample(const auto& texels, int width, int height, int pitch, double s, double t, int channels = 1,
              int channel = 0) {
    return blend(tap(s, width, false), tap(t, height, false), [&](int column, int row) {
        return texels[static_cast<std::size_t>(row * pitch + column * channels + channel)] / 255.0;
    });
}

double sampleColor(const Bytes& texels, const Yuv& at, int channel) {
    const auto plane = [&](int v) {
        return blend(tap(at.y, 16, false), tap(at.u, 16, false), [&](int y, int u) {
            return texels[static_cast<std::size_t>(((v * 16 + u) * 16 + y) * 3 + channel)] / 255.0;
        });
    };
    const Tap v = tap(at.v, 16, true);
    return mix(plane(v.left), plane(v.right), v.weight);
}

double clahe(const ShaderInput& in, double s, double t, double luma) {
    const model::Grid& grid = in.tuning.grid;
    const auto along = [](double coordinate, int size, int tiles) {
        const int block = size / tiles;
        const double valid = block * tiles - block / 2 * 2;
        const double position = std::clamp(coordinate * (size - 1.0) - block / 2, 0.0, valid - 1.0);
        const double scaled = position * (tiles - 1.0) / (valid - 1.0);
        const int left = static_cast<int>(scaled);
        return Tap{left, std::min(left + 1, tiles - 1), scaled - left};
    };
    // The column of a tile is the product of its normalised indices.
    const auto look = [&](int column, int row) {
        const double product = 1.0 * row / (grid.height - 1) * column / (grid.width - 1);
        const int count = grid.width * grid.height;
        return sample(in.clahe, count, 256, count, product, luma);
    };
    return blend(along(s, in.picture.width, grid.width), along(t, in.picture.height, grid.height), look);
}

Yuv colorCorrect(const Yuv& source, const Yuv& done) {
    const double sY = source.y * 255.0;
    const double dY = done.y * 255.0;
    const double sU = source.u * 255.0 - 128.0;
    const double sV = source.v * 255.0 - 128.0;
    const double c0 = std::hypot(sU, sV);
    const double ce = c0 * sY / (dY + 1e-7);
    double e = std::sqrt((ce * ce + dY * dY) / (c0 * c0 + sY * sY + 1e-7));
    e = std::clamp(e, 0.5, 2.0);
    e = std::min(e, 127.0 / (std::max(std::abs(sU), std::abs(sV)) + 1e-7));
    return {done.y, (sU * e + 128.0) / 255.0, (sV * e + 128.0) / 255.0};
}

double skin(const Yuv& source) {
    const double d1 = std::hypot(source.u - 0.40378553, source.v - 0.6445681);
    const double d2 = std::hypot(source.u - 0.48221445, source.v - 0.5714319);
    return std::min(2.0 * 0.07 / (d1 + d2 + 1e-7), 1.0);
}

// In a pair of chroma.
int placeOfU(const ShaderInput& in) { return in.format == IMAGE_FORMAT_TYPE_NV12 ? 0 : 1; }

Yuv shade(const ShaderInput& in, double s, double t) {
    const auto& [width, height, luma, pairs] = in.picture;
    const model::Tuning& on = in.tuning;
    const int u = placeOfU(in);
    const Yuv source = {sample(luma, width, height, width, s, t),
                        sample(pairs, width / 2, height / 2, width, s, t, 2, u),
                        sample(pairs, width / 2, height / 2, width, s, t, 2, 1 - u)};
    Yuv done = source;
    if (on.clahe) {
        done.y = clahe(in, s, t, done.y);
    }
    if (on.curve) {
        done = {sample(in.yCurve, 256, 1, 256, done.y, 0.0), sample(in.uvCurve, 256, 1, 256, done.u, 0.0),
                sample(in.uvCurve, 256, 1, 256, done.v, 0.0)};
    }
    if (on.correct) {
        done = colorCorrect(source, done);
    }
    if (on.color) {
        const Yuv looked = {sampleColor(in.color, done, 0), sampleColor(in.color, done, 1),
                            sampleColor(in.color, done, 2)};
        done = mix(looked, done, static_cast<double>(on.colorStrength));
    }
    if (on.protect && on.maskSource == 1) {
        done = mix(source, done, sample(in.mask, in.maskWidth, in.maskHeight, in.maskWidth, s, t));
    }
    if (on.protect && on.maskSource == 2) {
        done = mix(source, done, skin(source));
    }
    return done;
}

int rounded(double value) { return static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 255.0)); }

}  // namespace

std::vector<int> drawnSamples(const ShaderInput& in) {
    const int width = in.picture.width;
    const int height = in.picture.height;
    const int columns = width / 2 * 2;  // of chroma
    const int u = placeOfU(in);
    std::vector<int> samples(static_cast<std::size_t>(width * height + columns * (height / 2)));
    const auto chroma = samples.begin() + width * height;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Yuv texel = shade(in, (x + 0.5) / width, (y + 0.5) / height);
            samples[static_cast<std::size_t>(y * width + x)] = rounded(texel.y);
            if (x < columns && y < height / 2 * 2) {
                const auto pair = chroma + y / 2 * columns + x / 2 * 2;
                pair[u] += rounded(texel.u);
                pair[1 - u] += rounded(texel.v);
            }
        }
    }
    std::transform(chroma, samples.end(), chroma, [](int sum) { return (sum + 2) / 4; });
    return samples;
}

}  // namespace test
