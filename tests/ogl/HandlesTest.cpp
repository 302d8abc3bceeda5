// The name "OGL" through the sixteen entries: handles that share the process's display.
#include <algorithm>
#include <array>

#include "jni/HuevanceAPI.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/ogl/support/OglTuning.h"
#include "tests/support/HostRecords.h"

namespace {

using HandlesTest = test::GlTest;

// A capture's handle and two previews', created in every order and released in every other. The display is
// the process's: whoever goes first must not take it from the others.
TEST_F(HandlesTest, LiveAndGoInAnyOrder) {
    constexpr RoiInfo kRoi = {32, 24, 32, 24};
    // CLAHE and curves alone: short shaders make many handles quick.
    test::OglTuning tuning({{"transFrameNum", "7"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}});
    test::Frame frame(kRoi, 1);
    frame.fill(test::Content::kPhotoLike, 256);
    test::DeviceBuffer out(kRoi.width, kRoi.height, IMAGE_FORMAT_TYPE_NV21);
    Image image = test::hostImage(frame.data(), IMAGE_FORMAT_TYPE_NV21, kRoi);
    image.planes[3].data = out.get();
    AlgoApi api = {};
    get_algo_api(&api);
    std::vector<unsigned char> reference;
    const auto expectAlive = [&](void* handle) {
        out.fill(0);
        int scene = 1;
        EXPECT_EQ(api.singleProcessImage(handle, &image, &scene, nullptr), 0);
        reference = reference.empty() ? out.copy() : reference;
        EXPECT_EQ(out.copy(), reference);
        EXPECT_EQ(api.isSupportFormat(handle, 5), 1);
        EXPECT_EQ(api.isSupportFormat(handle, 9), 0);
    };
    for (const std::size_t captureAt : {0, 1, 2}) {
        std::array<std::size_t, 3> released = {0, 1, 2};
        do {
            sim_gl_reset();
            std::array<void*, 3> handles = {};
            for (std::size_t i = 0; i < 3; ++i) {
                InitParam init =
                    test::initParam(tuning.directory(), i == captureAt ? kPhotoMode : kFrameMode, kRoi);
                EXPECT_EQ(api.algoInitHandle(&handles[i], &init), 0);
            }
            for (std::size_t gone = 0; gone < 3; ++gone) {
                std::for_each(released.begin() + gone, released.end(),
                              [&](std::size_t i) { expectAlive(handles[i]); });
                EXPECT_EQ(sim_gl_calls("eglTerminate"), 0);
                EXPECT_EQ(api.releaseHandle(handles[released[gone]], nullptr), 0);
            }
            EXPECT_EQ(sim_gl_live(nullptr), 0);
            // One for each eglInitialize, for displays that count.
            EXPECT_EQ(sim_gl_calls("eglTerminate"), 3);
            EXPECT_EQ(sim_gl_calls("eglInitialize"), 3);
        } while (std::next_permutation(released.begin(), released.end()));
    }
}

}  // namespace
