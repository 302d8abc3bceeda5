#include "tests/support/Photo.h"

#ifdef HAVE_TURBOJPEG
#include <turbojpeg.h>

#include <fstream>
#include <iterator>

namespace test {

bool fillWithPhoto(Frame& frame, const std::string& name) {
    std::ifstream in(std::string(HUEVANCE_SOURCE_DIR) + "/samples/" + name + ".jpg", std::ios::binary);
    const std::vector<unsigned char> file((std::istreambuf_iterator<char>(in)), {});
    int width = 0;
    int height = 0;
    int other = 0;
    tjhandle handle = tjInitDecompress();
    tjDecompressHeader3(handle, file.data(), file.size(), &width, &height, &other, &other);
    std::vector<unsigned char> rgb(static_cast<std::size_t>(3 * width * height));
    const RoiInfo& roi = frame.roi();
    const bool done =
        width >= roi.width && height >= roi.height &&
        tjDecompress2(handle, file.data(), file.size(), rgb.data(), width, 0, height, TJPF_RGB, 0) == 0;
    tjDestroy(handle);
    for (int y = 0; done && y < roi.height; ++y) {
        for (int x = 0; x < roi.width; ++x) {
            const auto level = [&](int column, int row, double red, double green, double blue) {
                const int at = (row + (height - roi.height) / 2) * width + column + (width - roi.width) / 2;
                const unsigned char* pixel = rgb.data() + static_cast<std::ptrdiff_t>(3) * at;
                return red * pixel[0] + green * pixel[1] + blue * pixel[2];
            };
            frame.setLuma(x, y, static_cast<int>(level(x, y, 0.299, 0.587, 0.114)));
            if (y < roi.height / 2) {
                const int left = x / 2 * 2;
                frame.setChroma(
                    x, y,
                    static_cast<int>(128 + (x % 2 == 0 ? level(left, 2 * y, -0.168, -0.331, 0.499)
                                                       : level(left, 2 * y, 0.499, -0.418, -0.081))));
            }
        }
    }
    return done;
}

}  // namespace test

#else

namespace test {
bool fillWithPhoto(Frame&, const std::string&) { return false; }
}  // namespace test

#endif
