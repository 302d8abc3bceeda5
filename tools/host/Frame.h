// One frame in memory, as a camera hands it to the library.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/host/Geometry.h"
#include "tools/picture/Picture.h"

namespace tool {

// A frame's samples by plane, whatever its layout; for comparisons.
struct Planes {
    struct Plane {
        int width = 0;
        int height = 0;
        std::vector<std::uint16_t> samples;  // rows without padding
    };
    Plane y, u, v;
    int bits = 8;
};

// Owns the pixel memory: shared memory with a descriptor, as camera buffers have, for back ends that import
// it.
class Frame {
public:
    Frame(const RoiInfo& roi, const FrameFormat& format);
    ~Frame();
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    // The record for the library; valid as long as the frame.
    Image* image() { return &m_image; }
    std::uint8_t* data() { return m_data; }
    const std::uint8_t* data() const { return m_data; }
    std::size_t bytes() const { return m_bytes; }
    const RoiInfo& roi() const { return m_roi; }
    const FrameFormat& format() const { return m_format; }

    // From a picture whose size, rounded up to even sizes, is the frame's: the last column and row are
    // repeated into the rest. 16-bit frames hold 8-bit levels shifted up, deep planes scaled to their white.
    void set(const Picture& picture);
    // Into a picture whose size is the frame's or one less. 16-bit samples are rounded to 8 bits, and with
    // `deep` kept as well.
    void get(Picture& picture, bool deep = false) const;

    // Limited range (video: white at 235, black at 16 of 255) to full range and back; what lies outside is
    // cut.
    void toFullRange();
    void toLimitedRange();
    Planes planes() const;

private:
    // Sample values with the significant bits at the bottom.
    void loadRow(int row, std::vector<std::uint16_t>& samples) const;
    void storeRow(int row, const std::vector<std::uint16_t>& samples);
    template <typename Levels>
    void setPlanes(const Levels& y, const Levels& u, const Levels& v, const Picture& picture, int bits);
    template <typename Levels, typename Convert>
    void getPlanes(Levels& y, Levels& u, Levels& v, const Picture& picture, Convert convert) const;
    void mapLevels(const std::vector<std::uint16_t>& luma, const std::vector<std::uint16_t>& chroma);

    RoiInfo m_roi;
    FrameFormat m_format;
    std::size_t m_bytes;
    int m_descriptor = -1;
    std::uint8_t* m_data = nullptr;
    Image m_image{};
};

// The even size of the frame that holds a picture.
Size frameSizeOf(const Picture& picture);

Planes planesOf(const Picture& picture);

}  // namespace tool
