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

// One channel of a plane of `channels` interleaved bytes.
double sample(const Bytes& texels, int width, int height, double s, double t, int channels = 1,
              int channel = 0) {
    return blend(tap(s, width, false), tap(t, height, false), [&](int column, int row) {
        return texels[static_cast<std::size_t>((row * width + column) * channels + channel)] / 255.0;
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
    const auto tiles = [](double coordinate, int size, int grid) {
        const int block = size / grid;
        const double valid = block * grid - block / 2 * 2;
        const double position = std::clamp(coordinate * (size - 1.0) - block / 2, 0.0, valid - 1.0);
        const double scaled = position * (grid - 1.0) / (valid - 1.0);
        const int left = static_cast<int>(scaled);
        return Tap{left, std::min(left + 1, grid - 1), scaled - left};
    };
    // The column of a tile is the product of its normalised indices.
    const auto look = [&](int column, int row) {
        const double product = 1.0 * row / (in.gridHeight - 1) * column / (in.gridWidth - 1);
        return sample(in.clahe, in.gridWidth * in.gridHeight, 256, product, luma);
    };
    return blend(tiles(s, in.width, in.gridWidth), tiles(t, in.height, in.gridHeight), look);
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

Yuv shade(const ShaderInput& in, double s, double t) {
    const int first = in.format == IMAGE_FORMAT_TYPE_NV12 ? 0 : 1;  // of a pair: U in NV12, V in NV21
    const auto chroma = [&](int channel) {
        return sample(in.chroma, in.width / 2, in.height / 2, s, t, 2, channel);
    };
    const Yuv source = {sample(in.luma, in.width, in.height, s, t), chroma(first), chroma(1 - first)};
    Yuv done = source;
    if (in.on.clahe) {
        done.y = clahe(in, s, t, done.y);
    }
    if (in.on.curve) {
        done = {sample(in.yCurve, 256, 1, done.y, 0.0), sample(in.uvCurve, 256, 1, done.u, 0.0),
                sample(in.uvCurve, 256, 1, done.v, 0.0)};
    }
    if (in.on.colorCorrect) {
        done = colorCorrect(source, done);
    }
    if (in.on.colorMap) {
        const Yuv looked = {sampleColor(in.color, done, 0), sampleColor(in.color, done, 1),
                            sampleColor(in.color, done, 2)};
        done = mix(looked, done, static_cast<double>(in.colorStrength));
    }
    if (in.on.portraitProtect && in.maskType == 1) {
        done = mix(source, done, sample(in.mask, in.maskWidth, in.maskHeight, s, t));
    }
    if (in.on.portraitProtect && in.maskType == 2) {
        done = mix(source, done, skin(source));
    }
    return done;
}

}  // namespace

ModelFrame modelFrame(const ShaderInput& in) {
    ModelFrame frame = {in.width, {}};
    for (int y = 0; y < in.height; ++y) {
        for (int x = 0; x < in.width; ++x) {
            const Yuv texel = shade(in, (x + 0.5) / in.width, (y + 0.5) / in.height);
            for (const double value : {texel.y, texel.u, texel.v}) {
                frame.texels.push_back(
                    static_cast<unsigned char>(std::lround(std::clamp(value, 0.0, 1.0) * 255.0)));
            }
        }
    }
    return frame;
}

int ModelFrame::chroma(int x, int y, int channel) const {
    int sum = 0;
    for (int i = 0; i < 4; ++i) {
        sum += texels[static_cast<std::size_t>((2 * y + i / 2) * width + 2 * x + i % 2) * 3 + 1 +
                      static_cast<std::size_t>(channel)];
    }
    return (sum + 2) / 4;
}

}  // namespace test
