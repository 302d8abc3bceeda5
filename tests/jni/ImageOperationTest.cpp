// The frame record: geometry rules, creation, copies, checks, and the allocation wrappers.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <numeric>

#include "jni/algocommon/ImageOperation.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LogMask.h"
#include "tests/support/StdoutCapture.h"

namespace {

using std::string;
using std::vector;
using test::format;

constexpr auto kNv21 = IMAGE_FORMAT_TYPE_NV21, kNv12 = IMAGE_FORMAT_TYPE_NV12;

IMAGE_FORMAT_TYPE formatOf(int value) { return static_cast<IMAGE_FORMAT_TYPE>(value); }
string line(const char* function, const string& message) {
    return test::hostLine("ImageOperation.cpp", function, message);
}

// A record whose every byte is set, so that a field left alone can be told from one written.
Image markedImage() {
    Image image;
    std::memset(static_cast<void*>(&image), 0x5A, sizeof(image));
    return image;
}
bool sameBytes(const Image& a, const Image& b) { return std::memcmp(&a, &b, sizeof(Image)) == 0; }
vector<int> geometry(const ImagePlane& p) { return {p.w, p.h, p.stride, p.scanline, p.plane_size}; }

const struct GeometryCase {
    int format, w, h, stride, scanline;
    vector<vector<int>> planes;  // w, h, stride, scanline, size
    int total;
} kGeometryCases[] = {
    // clang-format off
    {5, 4000, 3000, 4096, 3008, {{4000, 3000, 4096, 3008, 12320768}, {4000, 1500, 4096, 1504, 6160384}}, 18481152},
    {6, 5, 3, 7, 5, {{5, 3, 7, 5, 35}, {5, 1, 7, 2, 14}}, 49},
    {9, 8, 4, 16, 4, {{8, 4, 16, 4, 64}, {8, 2, 16, 2, 32}}, 96},
    {10, 1, 1, 2, 1, {{1, 1, 2, 1, 2}, {1, 0, 2, 0, 0}}, 2},
    // Three planes: the first ignores stride and scanline.
    {2, 8, 4, 16, 8, {{8, 4, 8, 4, 32}, {4, 2, 8, 4, 32}, {4, 2, 8, 4, 32}}, 96},
    {3, 7, 5, 9, 7, {{7, 5, 7, 5, 35}, {3, 2, 4, 3, 12}, {3, 2, 4, 3, 12}}, 59},
    // Everything else: one plane.
    {0, 8, 4, 16, 6, {{8, 4, 16, 6, 96}}, 96}, {4, 8, 4, 16, 6, {{8, 4, 16, 6, 96}}, 96},
    {7, 8, 4, 16, 6, {{8, 4, 16, 6, 96}}, 96}, {-1, 8, 4, 16, 6, {{8, 4, 16, 6, 96}}, 96},
    // clang-format on
};

TEST(SetImage, GeometryFollowsFromSizesAndFormat) {
    for (const GeometryCase& c : kGeometryCases) {
        SCOPED_TRACE(testing::Message() << "format " << c.format << " " << c.w << " x " << c.h);
        const Image before = markedImage();
        Image image = before, reference = before;
        setImage(&image, c.w, c.h, c.stride, c.scanline, formatOf(c.format));
        EXPECT_EQ((vector<int>{image.w, image.h, image.pixel_count, image.total_size, image.bt, image.o,
                               image.format}),
                  (vector<int>{c.w, c.h, c.w * c.h, c.total, 3, 0, c.format}));
        ASSERT_EQ(image.num_plane, static_cast<int>(c.planes.size()));
        for (std::size_t i = 0; i < c.planes.size(); ++i) {
            EXPECT_EQ(geometry(image.planes[i]), c.planes[i]) << "plane " << i;
            EXPECT_EQ(image.planes[i].data, before.planes[i].data);
            EXPECT_EQ(image.planes[i].fd, before.planes[i].fd);
        }
        setImage(reference, c.w, c.h, c.stride, c.scanline, formatOf(c.format));
        EXPECT_TRUE(sameBytes(image, reference));
    }
    // With data the planes lie one after another.
    vector<unsigned char> data(96);
    Image image = markedImage(), reference = image;
    setImage(&image, data.data(), 8, 4, 16, 8, formatOf(2));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(image.planes[i].data, data.data() + 32 * i);
    }
    setImage(reference, data.data(), 8, 4, 16, 8, formatOf(2));
    EXPECT_TRUE(sameBytes(image, reference));
}

TEST(SetImage, RefusesSizesBelowOneAndNull) {
    const Image before = markedImage();
    Image image = before;
    // The last size: its products pass the record's ints.
    const int sizes[][4] = {{0, 4, 8, 4}, {8, 0, 8, 4},  {8, 4, 0, 4},
                            {8, 4, 8, 0}, {-8, 4, 8, 4}, {65536, 65536, 65536, 65536}};
    for (const auto& s : sizes) {
        const test::LogCapture log;
        setImage(&image, s[0], s[1], s[2], s[3], kNv21);
        if (s[0] < 65536) {
            EXPECT_EQ(
                log.hostLines(),
                vector<string>{line("setImage", format("error : image %p w %d h %d stride %d scanLine %d",
                                                       static_cast<void*>(&image), s[0], s[1], s[2], s[3]))});
        }
        setImage(&image, &image, s[0], s[1], s[2], s[3], kNv21);
        EXPECT_TRUE(sameBytes(image, before));
    }
    const test::LogCapture log;
    setImage(static_cast<Image*>(nullptr), 8, 4, 8, 4, kNv21);
    EXPECT_EQ(log.hostLines(),
              vector<string>{line("setImage", "error : image (nil) w 8 h 4 stride 8 scanLine 4")});
}

TEST(CreateImage, OneAllocationForAllPlanes) {
    Image* image = createImage(5, 4, 8, 6, kNv12);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(geometry(image->planes[1]), (vector<int>{5, 2, 8, 3, 24}));
    auto* data = static_cast<unsigned char*>(image->planes[0].data);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(image->planes[1].data, data + 48);
    std::memset(data, 1, 72);
    Image* tight = createImage(5, 4, formatOf(1));
    ASSERT_NE(tight, nullptr);
    EXPECT_EQ(geometry(tight->planes[0]), (vector<int>{5, 4, 5, 4, 20}));
    for (Image* made : {image, tight}) {
        freeImage(*made);
        galloc_free(made);  // freeImage leaves the record
    }
    const test::LogCapture log;
    EXPECT_EQ(createImage(0, 10, kNv12), nullptr);
    EXPECT_EQ(createImage(10, -1, kNv12), nullptr);
    EXPECT_EQ(createImage(8, 8, 0, 8, kNv12), nullptr);
    EXPECT_EQ(createImage(8, 8, 8, 0, kNv12), nullptr);
    EXPECT_EQ(log.hostLines(),
              (vector<string>{line("createImage", "error w 0 h 10"), line("createImage", "error w 10 h -1"),
                              line("createImage", "error w 8 h 8"), line("createImage", "error w 8 h 8")}));
}

TEST(ReadImage, RefusesEveryPathAndFillsARecordWithoutOne) {
    const Image before = markedImage();
    Image image = before;
    const char* path = "/dev/null";
    const test::LogMask mask(test::kErrorsAndInfo);
    test::LogCapture log;
    readImage(path, &image, 8, 4, 8, 4, kNv21);
    readImage(path, image, 8, 4, 8, 4, kNv21);
    readImage(nullptr, static_cast<Image*>(nullptr), 8, 4, 8, 4, kNv21);
    readImage(nullptr, &image, 8, 4, 8, 0, kNv21);
    const auto refusal = [](const void* p, const void* i, int scanline) {
        return line("readImage",
                    format("error : path %p image %p w 8 h 4 stride 8 scanLine %d", p, i, scanline));
    };
    EXPECT_EQ(log.hostLines(), (vector<string>{refusal(path, &image, 4), refusal(path, &image, 4),
                                               refusal(nullptr, nullptr, 4), refusal(nullptr, &image, 0)}));
    EXPECT_TRUE(sameBytes(image, before));

    log.clear();
    readImage(nullptr, image, 8, 4, 8, 4, kNv21);
    EXPECT_EQ(geometry(image.planes[1]), (vector<int>{8, 2, 8, 2, 16}));
    EXPECT_EQ(image.planes[0].data, nullptr);
    const auto reader = [](const char* text, const char* kind) {
        return test::hostLine("FileOperation.cpp", "fread_file", text, kind);
    };
    EXPECT_EQ(log.hostLines(),
              (vector<string>{reader("read_files (null)", "INFO"), reader("not find path 0", "ERROR"),
                              reader("end_files (null)", "INFO")}));
}

// A frame in guarded memory that ends where its last plane ends; byte i of it holds i modulo 251.
struct NumberedImage {
    NumberedImage(int type, int w, int h, int stride, int scanline)
        : memory(sizeOf(type, w, h, stride, scanline)) {
        setImage(&image, memory.data(), w, h, stride, scanline, formatOf(type));
        for (std::size_t i = 0; i < memory.size(); ++i) {
            memory.data()[i] = static_cast<unsigned char>(i % 251);
        }
    }
    static std::size_t sizeOf(int type, int w, int h, int stride, int scanline) {
        Image image = {};
        setImage(&image, w, h, stride, scanline, formatOf(type));
        return static_cast<std::size_t>(image.total_size);
    }
    Image image = {};
    test::GuardedMemory memory;
};

TEST(CopyToImage, CopiesHeaderGeometryAndPixelsAndKeepsPointers) {
    NumberedImage src(6, 5, 4, 8, 6);
    src.image.bt = 9;
    src.image.o = 90;
    src.image.planes[1].fd = 42;
    test::GuardedMemory memory(72);
    const Image before = markedImage();
    Image dst = before;
    dst.planes[0].data = memory.data();
    dst.planes[1].data = memory.data() + 48;
    copyToImage(&src.image, &dst);
    EXPECT_EQ(std::memcmp(&dst, &src.image, offsetof(Image, planes)), 0) << "header";
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(geometry(dst.planes[i]), geometry(src.image.planes[i]));
        EXPECT_EQ(dst.planes[i].fd, src.image.planes[i].fd);
    }
    EXPECT_EQ(dst.planes[1].data, memory.data() + 48);
    EXPECT_EQ(std::memcmp(&dst.planes[2], &before.planes[2], 2 * sizeof(ImagePlane)), 0)
        << "planes not in use";
    EXPECT_EQ(std::memcmp(memory.data(), src.memory.data(), 72), 0);
}

TEST(Copies, RefuseNull) {
    const Image before = markedImage();
    Image image = before;
    const void* address = &image;
    const int number = static_cast<int>(reinterpret_cast<std::intptr_t>(address));
    const test::LogCapture log;
    copyToImage(nullptr, &image);
    copyToImage(&image, nullptr);
    copyBufferToImage(nullptr, &image);
    copyBufferToImage(&image, nullptr);
    EXPECT_EQ(log.hostLines(),
              (vector<string>{line("copyToImage", format("pIn 0 pOut %d", number)),
                              line("copyToImage", format("pIn %d pOut 0", number)),
                              line("copyBufferToImage", format("pBuffer (nil) pOut %p", address)),
                              line("copyBufferToImage", format("pBuffer %p pOut (nil)", address))}));
    EXPECT_TRUE(sameBytes(image, before));
}

TEST(CopyBuffer, PacksWholePlanesBothWays) {
    for (const int type : {1, 2, 5, 10}) {
        SCOPED_TRACE(type);
        NumberedImage src(type, 6, 4, 16, 6);
        test::GuardedMemory packed(src.memory.size());
        copyToBuffer(src.image, packed.data());
        // The planes lie one after another already.
        EXPECT_EQ(std::memcmp(packed.data(), src.memory.data(), packed.size()), 0);
        // And into planes that do not.
        vector<vector<unsigned char>> planes(4);
        Image dst = src.image;
        for (std::size_t i = 0; i < 4; ++i) {
            planes[i].resize(static_cast<std::size_t>(dst.num_plane) > i
                                 ? static_cast<std::size_t>(dst.planes[i].plane_size)
                                 : 0);
            dst.planes[i].data = planes[i].data();
        }
        copyBufferToImage(packed.data(), &dst);
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_TRUE(std::equal(planes[i].begin(), planes[i].end(),
                                   static_cast<unsigned char*>(src.image.planes[i].data)));
        }
    }
}

TEST(CopyValidDataToBuffer, PacksVisibleRows) {
    const struct {
        int format, w, h, stride, scanline;
        vector<vector<int>> planes;  // visible rows in the numbered memory: byte offset, bytes, rows
    } cases[] = {
        {6, 6, 4, 6, 4, {{0, 36, 1}}},              // nothing to leave out
        {6, 5, 4, 8, 4, {{0, 5, 4}, {32, 5, 2}}},   // padded rows
        {5, 6, 4, 6, 7, {{0, 6, 4}, {42, 6, 2}}},   // rows below the frame
        {5, 5, 3, 8, 5, {{0, 5, 3}, {40, 5, 1}}},   // odd sizes
        {10, 3, 2, 8, 3, {{0, 6, 2}, {24, 6, 1}}},  // two bytes for each sample
        {9, 4, 2, 8, 2, {{0, 8, 2}, {16, 8, 1}}},   // 16-bit rows without padding
        {1, 3, 2, 5, 4, {{0, 3, 2}}},               // one plane
        {2, 6, 4, 16, 6, {{0, 24 + 24 + 24, 1}}},   // plane 0 is never padded there: copied whole
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "format " << c.format << " " << c.w << " x " << c.h);
        NumberedImage src(c.format, c.w, c.h, c.stride, c.scanline);
        vector<unsigned char> expected;
        for (const auto& plane : c.planes) {
            for (int y = 0; y < plane[2]; ++y) {
                const unsigned char* row = src.memory.data() + plane[0] + y * c.stride;
                expected.insert(expected.end(), row, row + plane[1]);
            }
        }
        test::GuardedMemory packed(expected.size());
        copyValidDataToBuffer(src.image, packed.data());
        EXPECT_EQ(vector<unsigned char>(packed.data(), packed.data() + packed.size()), expected);
    }
}

TEST(PrintfImage, PrintsHeaderAndPlanes) {
    unsigned char data[24];
    Image image = {};
    setImage(&image, data, 4, 4, 4, 4, kNv21);
    const string expected = format(
        "\nnum_plane 2 bt 3 o 0 image_info(4 4 16 24) format 5 \n"
        "\nplane.[0](w:4 h:4 stride:4 scanline:4 data:%p plane_size:16)\n"
        "\nplane.[1](w:4 h:2 stride:4 scanline:2 data:%p plane_size:8)\n",
        static_cast<void*>(data), static_cast<void*>(data + 16));
    test::StdoutCapture output;
    EXPECT_EQ(printfImage(&image), 0);
    EXPECT_EQ(printfImage(static_cast<const Image&>(image)), 0);
    EXPECT_EQ(printfImage(static_cast<Image*>(nullptr)), -1);
    EXPECT_EQ(output.text(), expected + expected + "algo: image:(nil) \n");
}

TEST(CheckImage, NeedsARecordWithAWidthAndAHeight) {
    const test::LogCapture log;
    Image image = {};
    const auto check = [&](int w, int h) {
        image.w = w;
        image.h = h;
        return checkImage(&image);
    };
    EXPECT_EQ(check(1, -1), 1);
    EXPECT_EQ((vector<int>{check(1, 0), check(0, 3), checkImage(nullptr)}), (vector<int>{0, 0, 0}));
    const void* address = &image;
    EXPECT_EQ(log.hostLines(),
              (vector<string>{line("checkImage", format("image err: in:%p w 1 * h 0", address)),
                              line("checkImage", format("image err: in:%p w 0 * h 3", address)),
                              line("checkImage", "image err: in:(nil) w 0 * h 0")}));
}

TEST(Align, RoundsUpButForOneAboveAMultiple) {
    // clang-format off
    const int cases[][3] = {  // value, alignment, result
        {128, 64, 128}, {65, 64, 65}, {66, 64, 128}, {100, 64, 128}, {127, 64, 128}, {0, 64, 0}, {1, 64, 1},
        {2, 64, 64}, {7, 1, 7}, {4097, 4096, 4097}, {4098, 4096, 8192}, {3, 2, 3}, {2, 4, 4}, {5, 4, 5},
        {-1, 64, -1}, {5, 0, 5},
        // Single precision: 4 / 3 - 1 is a little above 1 / 3, 7 / 6 - 1 a little below 1 / 6.
        {4, 3, 6}, {7, 6, 7},
        // No multiple above the value fits an int, nor does the quotient.
        {INT_MAX, 1000, INT_MAX}, {INT_MIN, -1, INT_MIN},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(align(c[0], c[1]), c[2]) << c[0] << ", " << c[1];
    }
}

TEST(Galloc, NullAndZeroAreIgnored) {
    EXPECT_TRUE(galloc_malloc(0) == nullptr && galloc_alloc(0) == nullptr &&
                galloc_realloc(nullptr, 8) == nullptr);
    galloc_free(nullptr);
    auto* bytes = static_cast<unsigned char*>(galloc_alloc(64));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::accumulate(bytes, bytes + 64, 0), 0);
    EXPECT_EQ(galloc_realloc(bytes, 0), nullptr);
    galloc_memset(bytes, 7, 64);  // still there
    galloc_memset(bytes, 1, 0);
    galloc_memset(nullptr, 1, 8);
    galloc_memcpy(nullptr, bytes, 8);
    galloc_memcpy(bytes, nullptr, 8);
    galloc_memcpy(bytes, bytes + 1, 0);
    bytes = static_cast<unsigned char*>(galloc_realloc(bytes, 128));
    galloc_memcpy(bytes + 64, bytes, 64);
    EXPECT_EQ(std::accumulate(bytes, bytes + 128, 0), 7 * 128);
    galloc_free(bytes);
}

}  // namespace
