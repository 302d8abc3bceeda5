#include "tests/support/Frames.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace test {

namespace {
constexpr unsigned char kPoison = 0xA5;
bool isPoison(unsigned char byte) { return byte == kPoison; }
}  // namespace

GuardedMemory::GuardedMemory(std::size_t size) : m_size(size) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (size + page - 1) / page * page;
    void* map = mmap(nullptr, usable + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED || mprotect(static_cast<unsigned char*>(map) + usable, page, PROT_NONE) != 0) {
        throw std::runtime_error("mmap failed");
    }
    std::memset(map, kPoison, usable);
    m_map = {static_cast<unsigned char*>(map), Unmap{usable + page}};
    m_data = m_map.get() + usable - size;
}

void GuardedMemory::Unmap::operator()(unsigned char* map) const { munmap(map, bytes); }

std::string toString(Content content) {
    constexpr const char* kNames[] = {"zero", "max", "alternating", "ramp", "noise", "photo", "above"};
    return kNames[static_cast<int>(content)];
}

std::uint32_t Random::next() {
    m_state ^= m_state << 13;
    m_state ^= m_state >> 17;
    m_state ^= m_state << 5;
    return m_state;
}

Frame::Frame(RoiInfo roi, int bytesPerSample)
    : m_roi(roi),
      m_bytesPerSample(bytesPerSample),
      m_memory(static_cast<std::size_t>(roi.scanline + roi.height / 2) *
               static_cast<std::size_t>(roi.stride)) {}

void Frame::fill(Content content, int range, std::uint32_t seed) {
    Random random(seed);
    const int top = m_bytesPerSample == 1 ? 255 : 65535;
    const auto value = [&](int x, int y, bool chroma) {
        switch (content) {
            case Content::kZero:
                return 0;
            case Content::kMax:
                return range - 1;
            case Content::kAlternating:
                return (x + y) % 2 == 0 ? 0 : range - 1;
            case Content::kRamp:
                return static_cast<int>((static_cast<std::int64_t>(x) * 7 + y * 3) * range / 256 % range);
            case Content::kNoise:
                return random.below(range);
            case Content::kPhotoLike: {
                // Smooth areas with a little noise; chroma near neutral.
                const int base = chroma ? range / 2 + (x / 8 % 5 - 2) * range / 24
                                        : range / 8 + (x / 16 * 5 + y / 16 * 9) % 24 * range / 32;
                return std::clamp(base + random.below(1 + range / 32), 0, range - 1);
            }
            case Content::kAboveRange:
                return random.below(top + 1);
        }
        return 0;
    };
    for (const bool chroma : {false, true}) {
        for (int y = 0; y < m_roi.height / (chroma ? 2 : 1); ++y) {
            for (int x = 0; x < m_roi.width; ++x) {
                setSample(chroma ? m_roi.scanline + y : y, x, value(x, y, chroma));
            }
        }
    }
}

int Frame::sample(int row, int x) const {
    std::uint16_t value = 0;
    std::memcpy(&value, m_memory.data() + row * m_roi.stride + x * m_bytesPerSample,
                static_cast<std::size_t>(m_bytesPerSample));
    return value;
}

void Frame::setSample(int row, int x, int value) {
    const auto wide = static_cast<std::uint16_t>(value);
    std::memcpy(m_memory.data() + row * m_roi.stride + x * m_bytesPerSample, &wide,
                static_cast<std::size_t>(m_bytesPerSample));
}

std::vector<int> Frame::samples() const {
    std::vector<int> result;
    for (int y = 0; y < m_roi.height + m_roi.height / 2; ++y) {
        const int row = y < m_roi.height ? y : m_roi.scanline + y - m_roi.height;
        const unsigned char* bytes = m_memory.data() + row * m_roi.stride;
        if (m_bytesPerSample == 1) {
            result.insert(result.end(), bytes, bytes + m_roi.width);
        }
        for (int x = 0; x < m_roi.width && m_bytesPerSample == 2; ++x) {
            result.push_back(sample(row, x));
        }
    }
    return result;
}

std::vector<unsigned char> Frame::copyBytes() const {
    return {m_memory.data(), m_memory.data() + m_memory.size()};
}

void Frame::restore(const std::vector<unsigned char>& bytes) {
    std::copy(bytes.begin(), bytes.end(), m_memory.data());
}

bool GuardedMemory::slackUntouched() const {
    return std::all_of<const unsigned char*>(m_map.get(), m_data, isPoison);
}

bool Frame::paddingUntouched() const {
    if (!m_memory.slackUntouched()) {
        return false;
    }
    const int visible = m_roi.width * m_bytesPerSample;
    for (int row = 0; row < m_roi.scanline + m_roi.height / 2; ++row) {
        const bool hasSamples = row < m_roi.height || row >= m_roi.scanline;
        const unsigned char* begin = m_memory.data() + row * m_roi.stride;
        if (!std::all_of(begin + (hasSamples ? visible : 0), begin + m_roi.stride, isPoison)) {
            return false;
        }
    }
    return true;
}

std::uint64_t hashBytes(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ bytes[i]) * 0x100000001b3ULL;
    }
    return hash;
}

}  // namespace test
