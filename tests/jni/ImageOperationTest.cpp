// The frame record: geometry rules, creation, copies, refusals, and the allocation wrappers.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <numeric>

#include "jni/algocommon/ImageOperation.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StdoutCapture.h"

namespace {

using std::string;
using std::vector;
using test::format;
using Bytes = vector<unsigned char>;

constexpr auto kNv21 = IMAGE_FORMAT_TYPE_NV21, kNv12 = IMAGE_FORMAT_TYPE_NV12;

IMAGE_FORMAT_TYPE formatOf(int value) { return static_cast<IMAGE_FORMAT_TYPE>(value); }
Bytes bytesOf(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    return {bytes, bytes + size};
}
Bytes bytesOf(const Image& image) { return bytesOf(&image, sizeof(image)); }

// A record whose every byte is set, so that a field left alone can be told from one written.
Image markedImage() {
    Image image;
    std::memset(static_cast<void*>(&image), 0x5A, sizeof(image));
    return image;
}
vector<int> geometry(const ImagePlane& p) { return {p.w, p.h, p.stride, p.scanline, p.plane_size}; }

TEST(SetImage, GeometryFollowsFromSizesAndFormat) {
    const struct {
        int format, w, h, stride, scanline;
        vector<vector<int>> planes;  // w, h, stride, scanline, size
        int total;
    } cases[] = {
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
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "format " << c.format << " " << c.w << " x " << c.h);
        const Image before = markedImage();
        Image image = before, reference = before, withData = before;
        setImage(&image, c.w, c.h, c.stride, c.scanline, formatOf(c.format));
        EXPECT_EQ(
            (vector<int>{image.w, image.h, image.pixel_count, image.total_size, image.bt, image.o,
                         image.format, image.num_plane}),
            (vector<int>{c.w, c.h, c.w * c.h, c.total, 3, 0, c.format, static_cast<int>(c.planes.size())}));
        // With data the planes lie one after another.
        Bytes data(static_cast<std::size_t>(c.total));
        unsigned char* next = data.data();
        setImage(withData, data.data(), c.w, c.h, c.stride, c.scanline, formatOf(c.format));
        for (std::size_t i = 0; i < c.planes.size(); ++i) {
            EXPECT_EQ(geometry(image.planes[i]), c.planes[i]) << "plane " << i;
            EXPECT_EQ(image.planes[i].data, before.planes[i].data);
            EXPECT_EQ(image.planes[i].fd, before.planes[i].fd);
            EXPECT_EQ(withData.planes[i].data, next);
            withData.planes[i].data = before.planes[i].data;
            next += c.planes[i].back();
        }
        setImage(reference, c.w, c.h, c.stride, c.scanline, formatOf(c.format));
        EXPECT_EQ(bytesOf(image), bytesOf(reference));
        EXPECT_EQ(bytesOf(image), bytesOf(withData));
    }
}

TEST(ImageOperation, RefusesWithOneLineAndLeavesTheRecord) {
    const Image before = markedImage();
    Image image = before;
    Image* const none = nullptr;
    const void* const at = &image;
    const int number = static_cast<int>(reinterpret_cast<std::intptr_t>(at));
    const char* path = "/dev/null";
    const void* const pathAt = path;
    constexpr int kBig = 65536;  // products beyond the record's ints
    const struct {
        std::function<void()> call;
        const char* function;
        string message;
    } cases[] = {
        // clang-format off
        {[&] { setImage(&image, 0, 4, 8, 4, kNv21); }, "setImage", format("error : image %p w 0 h 4 stride 8 scanLine 4", at)},
        {[&] { setImage(image, 8, 0, 8, 4, kNv21); }, "setImage", format("error : image %p w 8 h 0 stride 8 scanLine 4", at)},
        {[&] { setImage(&image, &image, 8, 4, -8, 4, kNv21); }, "setImage", format("error : image %p w 8 h 4 stride -8 scanLine 4", at)},
        {[&] { setImage(&image, &image, 8, 4, 8, 0, kNv21); }, "setImage", format("error : image %p w 8 h 4 stride 8 scanLine 0", at)},
        {[&] { setImage(&image, kBig, kBig, kBig, kBig, kNv21); }, "setImage", format("error : image %p w 65536 h 65536 stride 65536 scanLine 65536", at)},
        {[&] { setImage(none, 8, 4, 8, 4, kNv21); }, "setImage", "error : image (nil) w 8 h 4 stride 8 scanLine 4"},
        {[&] { EXPECT_EQ(createImage(0, 10, kNv12), nullptr); }, "createImage", "error w 0 h 10"},
        {[&] { EXPECT_EQ(createImage(10, -1, kNv12), nullptr); }, "createImage", "error w 10 h -1"},
        {[&] { EXPECT_EQ(createImage(8, 9, 0, 9, kNv12), nullptr); }, "createImage", "error w 8 h 9"},
        {[&] { EXPECT_EQ(createImage(8, 9, 8, 0, kNv12), nullptr); }, "createImage", "error w 8 h 9"},
        {[&] { readImage(path, &image, 8, 4, 8, 4, kNv21); }, "readImage", format("error : path %p image %p w 8 h 4 stride 8 scanLine 4", pathAt, at)},
        {[&] { readImage(path, image, 8, 4, 8, 4, kNv21); }, "readImage", format("error : path %p image %p w 8 h 4 stride 8 scanLine 4", pathAt, at)},
        {[&] { readImage(nullptr, none, 8, 4, 8, 4, kNv21); }, "readImage", "error : path (nil) image (nil) w 8 h 4 stride 8 scanLine 4"},
        {[&] { readImage(nullptr, &image, 8, 4, 8, 0, kNv21); }, "readImage", format("error : path (nil) image %p w 8 h 4 stride 8 scanLine 0", at)},
        {[&] { copyToImage(nullptr, &image); }, "copyToImage", format("pIn 0 pOut %d", number)},
        {[&] { copyToImage(&image, nullptr); }, "copyToImage", format("pIn %d pOut 0", number)},
        {[&] { copyBufferToImage(nullptr, &image); }, "copyBufferToImage", format("pBuffer (nil) pOut %p", at)},
        {[&] { copyBufferToImage(&image, nullptr); }, "copyBufferToImage", format("pBuffer %p pOut (nil)", at)},
        {[&] { EXPECT_EQ(checkImage(nullptr), 0); }, "checkImage", "image err: in:(nil) w 0 * h 0"},
        // clang-format on
    };
    for (const auto& c : cases) {
        const test::LogCapture log;
        c.call();
        EXPECT_EQ(log.hostLines(),
                  vector<string>{test::hostLine("ImageOperation.cpp", c.function, c.message)});
        EXPECT_EQ(bytesOf(image), bytesOf(before)) << c.message;
    }
    for (const auto& [w, h] : {std::pair{1, -1}, {1, 0}, {0, 3}}) {
        image.w = w;
        image.h = h;
        const test::LogCapture log;
        EXPECT_EQ(checkImage(&image), w * h != 0 ? 1 : 0);
        EXPECT_EQ(log.hostLines(),
                  vector<string>(w * h != 0 ? 0 : 1,
                                 test::hostLine("ImageOperation.cpp", "checkImage",
                                                format("image err: in:%p w %d * h %d", at, w, h))));
    }
}

TEST(CreateImage, OneAllocationForAllPlanes) {
    Image* image = createImage(5, 4, 8, 6, kNv12);
    Image* tight = createImage(5, 4, formatOf(1));
    const test::LogCapture log;
    ASSERT_TRUE(image != nullptr && tight != nullptr);
    EXPECT_EQ(geometry(image->planes[1]), (vector<int>{5, 2, 8, 3, 24}));
    EXPECT_EQ(geometry(tight->planes[0]), (vector<int>{5, 4, 5, 4, 20}));
    freeImage(*tight);
    auto* data = static_cast<unsigned char*>(image->planes[0].data);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(image->planes[1].data, data + 48);
    std::memset(data, 1, 72);
    readImage(nullptr, *tight, 8, 4, 8, 4, kNv21);  // without a path: geometry, and no data
    EXPECT_EQ(geometry(tight->planes[1]), (vector<int>{8, 2, 8, 2, 16}));
    EXPECT_EQ(tight->planes[0].data, nullptr);
    freeImage(*image);
    galloc_free(image);  // freeImage leaves the record
    galloc_free(tight);
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
    Bytes bytes() const { return bytesOf(memory.data(), memory.size()); }
    Image image = {};
    test::GuardedMemory memory;
};

TEST(Copies, CarryHeaderGeometryAndPixelsAndKeepPointers) {
    for (const int type : {1, 2, 5, 10}) {
        SCOPED_TRACE(type);
        NumberedImage src(type, 6, 4, 16, 6);
        src.image.bt = 9;
        src.image.o = 90;
        src.image.planes[0].fd = 42;
        // Into planes that do not lie one after another: from the record, and from a packed buffer.
        vector<Bytes> memory(4, Bytes(200));
        const Image before = markedImage();
        Image dst = before;
        for (std::size_t i = 0; i < 4; ++i) {
            dst.planes[i].data = memory[i].data();
        }
        test::GuardedMemory packed(src.memory.size());
        copyToBuffer(src.image, packed.data());
        EXPECT_EQ(bytesOf(packed.data(), packed.size()), src.bytes());
        for (const bool fromRecord : {true, false}) {
            fromRecord ? copyToImage(&src.image, &dst) : copyBufferToImage(packed.data(), &dst);
            EXPECT_EQ(bytesOf(&dst, offsetof(Image, planes)), bytesOf(&src.image, offsetof(Image, planes)));
            for (int i = 0; i < 4; ++i) {
                Bytes& plane = memory[static_cast<std::size_t>(i)];
                EXPECT_EQ(dst.planes[i].data, plane.data());
                if (i >= src.image.num_plane) {
                    EXPECT_EQ(dst.planes[i].fd, before.planes[i].fd) << "a plane not in use";
                    continue;
                }
                EXPECT_EQ(geometry(dst.planes[i]), geometry(src.image.planes[i]));
                EXPECT_EQ(dst.planes[i].fd, src.image.planes[i].fd);
                const auto size = static_cast<std::size_t>(src.image.planes[i].plane_size);
                EXPECT_EQ(Bytes(plane.data(), plane.data() + size), bytesOf(src.image.planes[i].data, size));
                EXPECT_EQ(plane[size], 0);
                std::fill(plane.begin(), plane.end(), static_cast<unsigned char>(0));
            }
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
        Bytes expected;
        for (const auto& plane : c.planes) {
            for (int y = 0; y < plane[2]; ++y) {
                const unsigned char* row = src.memory.data() + plane[0] + y * c.stride;
                expected.insert(expected.end(), row, row + plane[1]);
            }
        }
        test::GuardedMemory packed(expected.size());
        copyValidDataToBuffer(src.image, packed.data());
        EXPECT_EQ(bytesOf(packed.data(), packed.size()), expected);
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

TEST(Align, RoundsUpButForOneAboveAMultiple) {
    // clang-format off
    const int cases[][3] = {  // value, alignment, result
        {128, 64, 128}, {65, 64, 65}, {66, 64, 128}, {127, 64, 128}, {0, 64, 0}, {1, 64, 1},
        {2, 64, 64}, {7, 1, 7}, {4097, 4096, 4097}, {4098, 4096, 8192}, {3, 2, 3}, {2, 4, 4}, {-1, 64, -1}, {5, 0, 5},
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
    auto* bytes = static_cast<unsigned char*>(galloc_alloc(64));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::accumulate(bytes, bytes + 64, 0), 0);
    EXPECT_EQ(galloc_realloc(bytes, 0), nullptr);
    galloc_memset(bytes, 7, 64);  // still there
    galloc_memset(bytes, 1, 0);
    galloc_memset(nullptr, 1, 8);
    galloc_memcpy(nullptr, bytes, 8);
    galloc_memcpy(bytes, nullptr, 8);
    bytes = static_cast<unsigned char*>(galloc_realloc(bytes, 128));
    galloc_memcpy(bytes + 64, bytes, 64);
    EXPECT_EQ(std::accumulate(bytes, bytes + 128, 0), 7 * 128);
    galloc_free(bytes);
    galloc_free(nullptr);
}

}  // namespace
