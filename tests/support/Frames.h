// Test frames: memory that ends at an unreadable page, poisoned padding, and contents that find faults.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "jni/algocommon/ImageTypes.h"

namespace test {

// `size` bytes whose last byte is the last one that may be touched: the page after it is unreadable. Filled
// with poison.
class GuardedMemory {
public:
    explicit GuardedMemory(std::size_t size);

    unsigned char* data() { return m_data; }
    const unsigned char* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    // Whether the bytes of the mapping before data() still hold poison.
    bool slackUntouched() const;

private:
    struct Unmap {
        std::size_t bytes;
        void operator()(unsigned char* map) const;
    };
    std::unique_ptr<unsigned char[], Unmap> m_map;
    unsigned char* m_data;
    std::size_t m_size;
};

// Deterministic contents: `range` levels (256 or 2^dataBit; beyond it with kAboveRange).
enum class Content { kZero, kMax, kAlternating, kRamp, kNoise, kPhotoLike, kAboveRange };
inline constexpr Content kAllContents[] = {Content::kZero,      Content::kMax,   Content::kAlternating,
                                           Content::kRamp,      Content::kNoise, Content::kPhotoLike,
                                           Content::kAboveRange};
std::string toString(Content content);

// A two-plane frame of 8- or 16-bit samples, (scanline + height / 2) x stride bytes in guarded memory: the
// frame ends where its last chroma row ends. Everything that is not a visible sample holds poison.
class Frame {
public:
    // roi.stride in bytes.
    Frame(RoiInfo roi, int bytesPerSample);

    void fill(Content content, int range, std::uint32_t seed = 1);

    void* data() { return m_memory.data(); }
    unsigned char* data8() { return m_memory.data(); }
    std::uint16_t* data16() { return reinterpret_cast<std::uint16_t*>(m_memory.data()); }
    const RoiInfo& roi() const { return m_roi; }
    std::size_t bytes() const { return m_memory.size(); }

    int luma(int x, int y) const { return sample(y, x); }
    int chroma(int x, int y) const { return sample(m_roi.scanline + y, x); }
    void setLuma(int x, int y, int value) { setSample(y, x, value); }
    void setChroma(int x, int y, int value) { setSample(m_roi.scanline + y, x, value); }

    // Visible samples only: luma rows, then chroma rows (width samples each).
    std::vector<int> samples() const;
    // All bytes, padding included.
    std::vector<unsigned char> copyBytes() const;
    void restore(const std::vector<unsigned char>& bytes);
    // Whether every byte outside the visible samples still holds poison.
    bool paddingUntouched() const;

private:
    int sample(int row, int x) const;
    void setSample(int row, int x, int value);

    RoiInfo m_roi;
    int m_bytesPerSample;
    GuardedMemory m_memory;
};

// FNV-1a over bytes, for frame hashes.
std::uint64_t hashBytes(const void* data, std::size_t size);

// A small deterministic generator (xorshift), the same on every platform.
class Random {
public:
    explicit Random(std::uint32_t seed) : m_state(seed * 2654435761U + 0x9E3779B9U) {}
    std::uint32_t next();
    int below(int limit) { return static_cast<int>(next() % static_cast<std::uint32_t>(limit)); }
    float unit() { return static_cast<float>(next() >> 8) / 16777216.0F; }  // [0, 1)

private:
    std::uint32_t m_state;
};

}  // namespace test
