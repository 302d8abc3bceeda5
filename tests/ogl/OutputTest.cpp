// Outputs that cannot be drawn, or not be read back.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include "ogl/HuevancePhoto_OGL.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/ogl/support/OglTuning.h"

namespace {

// Changes what a lock tells of the planes.
void (*g_change)(AHardwareBuffer_Planes&) = nullptr;

constexpr RoiInfo kRoi = {64, 48, 64, 48};

}  // namespace

int AHardwareBuffer_lockPlanes(AHardwareBuffer* buffer, std::uint64_t usage, std::int32_t fence,
                               const ARect* rect, AHardwareBuffer_Planes* planes) {
    static const auto next = reinterpret_cast<decltype(&AHardwareBuffer_lockPlanes)>(
        dlsym(RTLD_NEXT, "AHardwareBuffer_lockPlanes"));
    const int result = next(buffer, usage, fence, rect, planes);
    if (g_change != nullptr) {
        g_change(*planes);
    }
    return result;
}

namespace {

class OutputTest : public test::GlTest {
protected:
    int capture(CHuevancePhoto_OGL& photo, test::DeviceBuffer& output) {
        test::Frame frame(kRoi, 1);
        return photo.process(frame.data(), output.get(), IMAGE_FORMAT_TYPE_NV12, 0);
    }
    test::OglTuning m_tuning;
};

TEST_F(OutputTest, WithoutAShaderItStaysAsItWas) {
    CHuevancePhoto_OGL photo;
    ASSERT_EQ(photo.init(m_tuning.path(), kRoi), 0);
    test::DeviceBuffer output(kRoi.width, kRoi.height, IMAGE_FORMAT_TYPE_NV12);
    output.fill(77);
    const std::vector<unsigned char> before = output.copy();
    sim_gl_fail("glLinkProgram", 1, GL_OUT_OF_MEMORY);
    for (int captures = 0; captures < 2; ++captures) {
        test::LogCapture log;
        EXPECT_EQ(capture(photo, output), -1);
        EXPECT_THAT(log.texts(test::kError),
                    testing::Contains("[CHuevancePhoto_OGL] process error: there is no shader!!!"));
    }
    EXPECT_EQ(output.copy(), before);
}

TEST_F(OutputTest, IsDumpedOnlyInPairsOfChroma) {
    test::TuningDir dumps;
    test::DeviceBuffer output(kRoi.width, kRoi.height, IMAGE_FORMAT_TYPE_NV12);
    CHuevancePhoto_OGL photo;
    photo.m_pcDumpDirectory = dumps.path().c_str();
    ASSERT_EQ(photo.init(m_tuning.path(), kRoi), 0);
    photo.m_tuning.m_iSavePhoto = 1;
    for (const auto change : std::initializer_list<decltype(g_change)>{
             [](AHardwareBuffer_Planes& planes) { planes.planeCount = 1; },
             [](AHardwareBuffer_Planes& planes) { planes.planes[0].pixelStride = 2; },
             [](AHardwareBuffer_Planes& planes) { planes.planes[1].pixelStride = 1; },
             [](AHardwareBuffer_Planes& planes) { planes.planes[2].pixelStride = 4; },
             [](AHardwareBuffer_Planes& planes) { planes.planes[2].data = planes.planes[1].data; },
             [](AHardwareBuffer_Planes& planes) { planes.planes[2].rowStride *= 2; }, nullptr}) {
        g_change = change;
        test::LogCapture log;
        EXPECT_EQ(capture(photo, output), 0);
        EXPECT_THAT(log.texts(test::kError),
                    change == nullptr ? std::vector<std::string>{}
                                      : std::vector<std::string>{"[CHuevancePhoto_OGL] dump error: output is "
                                                                 "not in pairs of chroma!!!"});
    }
}

}  // namespace
