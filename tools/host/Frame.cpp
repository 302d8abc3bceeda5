#include "tools/host/Frame.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "tools/ToolError.h"

namespace tool {

namespace {

Planes::Plane planeOf(const Bytes& levels, int width, int height) {
    return {width, height, {levels.begin(), levels.end()}};
}

std::size_t index(int row, int width) {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(width);
}

}  // namespace

Frame::Frame(const RoiInfo& roi, const FrameFormat& format)
    : m_roi(roi), m_format(format), m_bytes(frameBytes(roi)) {
    m_descriptor = memfd_create("huevance frame", MFD_CLOEXEC);
    void* map = MAP_FAILED;
    if (m_descriptor >= 0 && ftruncate(m_descriptor, static_cast<off_t>(m_bytes)) == 0) {
        map = mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_SHARED, m_descriptor, 0);
    }
    if (map == MAP_FAILED) {
        const std::string reason = std::strerror(errno);
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
        throw fileError("no memory for a frame of " + std::to_string(m_bytes) + " bytes: " + reason);
    }
    m_data = static_cast<std::uint8_t*>(map);

    const int halfScanline = roi.scanline / 2;
    m_image.w = roi.width;
    m_image.h = roi.height;
    m_image.num_plane = 2;
    m_image.pixel_count = roi.width * roi.height;
    m_image.total_size = roi.stride * (roi.scanline + halfScanline);
    m_image.bt = 3;
    m_image.format = format.type;
    m_image.planes[0] = {roi.width,    roi.height, roi.stride, roi.scanline, roi.stride * roi.scanline,
                         m_descriptor, m_data};
    m_image.planes[1] = {roi.width,
                         roi.height / 2,
                         roi.stride,
                         halfScanline,
                         roi.stride * halfScanline,
                         m_descriptor,
                         m_data + index(roi.scanline, roi.stride)};
}

Frame::~Frame() {
    munmap(m_data, m_bytes);
    close(m_descriptor);
}

void Frame::loadRow(int row, std::vector<std::uint16_t>& samples) const {
    const std::uint8_t* source = m_data + index(row, m_roi.stride);
    samples.resize(static_cast<std::size_t>(m_roi.width));
    if (m_format.bytesPerSample() == 1) {
        std::copy_n(source, samples.size(), samples.begin());
        return;
    }
    std::memcpy(samples.data(), source, 2 * samples.size());
    for (std::uint16_t& sample : samples) {
        sample = static_cast<std::uint16_t>(sample >> m_format.shift());
    }
}

void Frame::storeRow(int row, const std::vector<std::uint16_t>& samples) {
    std::uint8_t* target = m_data + index(row, m_roi.stride);
    for (std::size_t x = 0; x < samples.size(); ++x) {
        const auto value = static_cast<std::uint16_t>(samples[x] << m_format.shift());
        std::memcpy(target + x * static_cast<std::size_t>(m_format.bytesPerSample()), &value,
                    static_cast<std::size_t>(m_format.bytesPerSample()));
    }
}

namespace {

// From a level of `bits` to one of `frameBits`: 8-bit levels move up by whole bits, deeper ones are scaled so
// that white stays white and neutral chroma neutral.
class Requantizer {
public:
    Requantizer(int bits, int frameBits, bool chroma)
        : m_shift(bits == 8 ? frameBits - 8 : 0),
          m_scale(static_cast<double>((1 << frameBits) - 1) / static_cast<double>((1 << bits) - 1)),
          m_from(chroma ? 1 << (bits - 1) : 0),
          m_to(chroma ? 1 << (frameBits - 1) : 0),
          m_white((1 << frameBits) - 1),
          m_same(bits == 8 || bits == frameBits) {}
    std::uint16_t operator()(int level) const {
        if (m_same) {
            return static_cast<std::uint16_t>(level << m_shift);
        }
        const long scaled = std::lround((level - m_from) * m_scale) + m_to;
        return static_cast<std::uint16_t>(std::clamp<long>(scaled, 0, m_white));
    }

private:
    int m_shift;
    double m_scale;
    int m_from, m_to, m_white;
    bool m_same;
};

}  // namespace

template <typename Levels>
void Frame::setPlanes(const Levels& y, const Levels& u, const Levels& v, const Picture& picture, int bits) {
    const Requantizer luma(bits, m_format.bits, false);
    const Requantizer chroma(bits, m_format.bits, true);
    const int width = picture.size.width;
    std::vector<std::uint16_t> samples(static_cast<std::size_t>(m_roi.width));
    for (int row = 0; row < m_roi.height; ++row) {
        const auto* source = y.data() + index(std::min(row, picture.size.height - 1), width);
        std::transform(source, source + width, samples.begin(), luma);
        std::fill(samples.begin() + width, samples.end(), luma(source[width - 1]));
        storeRow(row, samples);
    }
    for (int row = 0; row < m_roi.height / 2; ++row) {
        const std::size_t at = index(row, picture.chromaWidth());
        for (int column = 0; column < picture.chromaWidth(); ++column) {
            const std::size_t i = at + static_cast<std::size_t>(column);
            const std::size_t x = 2 * static_cast<std::size_t>(column);
            samples[x] = chroma(m_format.firstIsU() ? u[i] : v[i]);
            samples[x + 1] = chroma(m_format.firstIsU() ? v[i] : u[i]);
        }
        storeRow(m_roi.scanline + row, samples);
    }
}

void Frame::set(const Picture& picture) {
    if (picture.deep && m_format.bits > 8) {
        const DeepPlanes& deep = *picture.deep;
        setPlanes(deep.y, deep.u, deep.v, picture, deep.bits);
    } else {
        setPlanes(picture.y, picture.u, picture.v, picture, 8);
    }
}

template <typename Levels, typename Convert>
void Frame::getPlanes(Levels& y, Levels& u, Levels& v, const Picture& picture, Convert convert) const {
    std::vector<std::uint16_t> samples;
    for (int row = 0; row < picture.size.height; ++row) {
        loadRow(row, samples);
        std::transform(samples.begin(), samples.begin() + picture.size.width,
                       y.begin() + static_cast<std::ptrdiff_t>(index(row, picture.size.width)), convert);
    }
    // A frame of an odd size has no chroma of its own at the far edge: the nearest stands in. Without any:
    // neutral.
    if (m_roi.width < 2 || m_roi.height < 2) {
        std::fill(u.begin(), u.end(), convert(static_cast<std::uint16_t>(1 << (m_format.bits - 1))));
        v = u;
        return;
    }
    for (int row = 0; row < picture.chromaHeight(); ++row) {
        loadRow(m_roi.scanline + std::min(row, m_roi.height / 2 - 1), samples);
        for (int column = 0; column < picture.chromaWidth(); ++column) {
            const std::size_t x = 2 * static_cast<std::size_t>(std::min(column, m_roi.width / 2 - 1));
            const std::size_t i = index(row, picture.chromaWidth()) + static_cast<std::size_t>(column);
            u[i] = convert(samples[m_format.firstIsU() ? x : x + 1]);
            v[i] = convert(samples[m_format.firstIsU() ? x + 1 : x]);
        }
    }
}

void Frame::get(Picture& picture, bool deep) const {
    const int down = m_format.bits - 8;
    const int half = down > 0 ? 1 << (down - 1) : 0;
    getPlanes(picture.y, picture.u, picture.v, picture, [&](std::uint16_t sample) {
        return static_cast<std::uint8_t>(std::min((sample + half) >> down, 255));
    });
    picture.deep.reset();
    if (deep && m_format.bits > 8) {
        DeepPlanes& planes = picture.deep.emplace();
        planes.bits = m_format.bits;
        planes.y.resize(picture.y.size());
        planes.u.resize(picture.u.size());
        planes.v.resize(picture.v.size());
        getPlanes(planes.y, planes.u, planes.v, picture, [](std::uint16_t sample) { return sample; });
    }
}

void Frame::mapLevels(const std::vector<std::uint16_t>& luma, const std::vector<std::uint16_t>& chroma) {
    std::vector<std::uint16_t> samples;
    for (int row = 0; row < m_roi.height + m_roi.height / 2; ++row) {
        const bool isLuma = row < m_roi.height;
        const int at = isLuma ? row : m_roi.scanline + row - m_roi.height;
        const std::vector<std::uint16_t>& levels = isLuma ? luma : chroma;
        loadRow(at, samples);
        for (std::uint16_t& sample : samples) {
            sample = levels[std::min<std::size_t>(sample, levels.size() - 1)];
        }
        storeRow(at, samples);
    }
}

namespace {

// For every level of `bits` round((level - from) x gain + to), within the range of the depth.
std::vector<std::uint16_t> levelMap(int bits, double from, double gain, double to) {
    const int white = (1 << bits) - 1;
    std::vector<std::uint16_t> levels;
    for (int level = 0; level <= white; ++level) {
        const double mapped = std::clamp((level - from) * gain + to, 0.0, static_cast<double>(white));
        levels.push_back(static_cast<std::uint16_t>(std::lround(mapped)));
    }
    return levels;
}

}  // namespace

void Frame::toFullRange() {
    const int step = 1 << (m_format.bits - 8);
    const double white = (1 << m_format.bits) - 1;
    const double neutral = 128 * step;
    mapLevels(levelMap(m_format.bits, 16 * step, white / (219 * step), 0.0),
              levelMap(m_format.bits, neutral, white / (224 * step), neutral));
}

void Frame::toLimitedRange() {
    const int step = 1 << (m_format.bits - 8);
    const double white = (1 << m_format.bits) - 1;
    const double neutral = 128 * step;
    mapLevels(levelMap(m_format.bits, 0.0, 219 * step / white, 16 * step),
              levelMap(m_format.bits, neutral, 224 * step / white, neutral));
}

Planes Frame::planes() const {
    Planes planes;
    planes.bits = m_format.bits;
    planes.y.width = m_roi.width;
    planes.y.height = m_roi.height;
    std::vector<std::uint16_t> samples;
    for (int row = 0; row < m_roi.height; ++row) {
        loadRow(row, samples);
        planes.y.samples.insert(planes.y.samples.end(), samples.begin(), samples.end());
    }
    planes.u.width = planes.v.width = m_roi.width / 2;
    planes.u.height = planes.v.height = m_roi.height / 2;
    for (int row = 0; row < m_roi.height / 2; ++row) {
        loadRow(m_roi.scanline + row, samples);
        for (std::size_t x = 0; x + 1 < samples.size(); x += 2) {
            planes.u.samples.push_back(samples[m_format.firstIsU() ? x : x + 1]);
            planes.v.samples.push_back(samples[m_format.firstIsU() ? x + 1 : x]);
        }
    }
    return planes;
}

Size frameSizeOf(const Picture& picture) { return {picture.chromaWidth() * 2, picture.chromaHeight() * 2}; }

Planes planesOf(const Picture& picture) {
    return {planeOf(picture.y, picture.size.width, picture.size.height),
            planeOf(picture.u, picture.chromaWidth(), picture.chromaHeight()),
            planeOf(picture.v, picture.chromaWidth(), picture.chromaHeight()), 8};
}

}  // namespace tool
