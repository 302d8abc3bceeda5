#include "tests/support/Photo.h"

#ifdef HAVE_TURBOJPEG
#include <turbojpeg.h>

#include <fstream>
#include <iterator>

namespace test {

bool fillWithPhoto(Frame& frame, const std::string& name) {
    std::ifstream in(std::string(HUEVANCE_SOURCE_DIR) + "/samples/" + name + ".jpg", std::ios::binary);
    const std::vector<unsigned char> file((std::istreambuf_iterator<char>(in)), {});
    tjhandle handle = tjInitDecompress();
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colours = 0;
    bool done =
        tjDecompressHeader3(handle, file.data(), file.size(), &width, &height, &subsampling, &colours) == 0 &&
        width >= frame.roi().width && height >= frame.roi().height;
    if (done) {
        std::vector<std::vector<unsigned char>> planes;
        unsigned char* pointers[3];
        int strides[3];
        for (int plane = 0; plane < 3; ++plane) {
            strides[plane] = tjPlaneWidth(plane, width, subsampling);
            planes.emplace_back(
                static_cast<std::size_t>(strides[plane] * tjPlaneHeight(plane, height, subsampling)));
            pointers[plane] = planes.back().data();
        }
        done = tjDecompressToYUVPlanes(handle, file.data(), file.size(), pointers, width, strides, height,
                                       0) == 0;
        const int left = (width - frame.roi().width) / 4 * 2;
        const int top = (height - frame.roi().height) / 4 * 2;
        for (int y = 0; done && y < frame.roi().height; ++y) {
            for (int x = 0; x < frame.roi().width; ++x) {
                frame.setLuma(x, y, planes[0][static_cast<std::size_t>((top + y) * strides[0] + left + x)]);
                if (y < frame.roi().height / 2) {
                    const int row =
                        (top / 2 + y) * tjPlaneHeight(1, height, subsampling) / ((height + 1) / 2);
                    const int column = (left + x) / 2 * strides[1] / ((width + 1) / 2);
                    frame.setChroma(x, y,
                                    planes[static_cast<std::size_t>(1 + x % 2)]
                                          [static_cast<std::size_t>(row * strides[1] + column)]);
                }
            }
        }
    }
    tjDestroy(handle);
    return done;
}

}  // namespace test

#else

namespace test {
bool fillWithPhoto(Frame&, const std::string&) { return false; }
}  // namespace test

#endif
