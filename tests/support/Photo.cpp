#include "tests/support/Photo.h"

#ifdef HAVE_TURBOJPEG
#include <turbojpeg.h>

#include <map>

#include "tests/support/Files.h"

namespace test {

namespace {

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> rgb;  // empty when it cannot be read
};

Picture decode(const std::string& name) {
    const std::string file = readFile(HUEVANCE_SOURCE_DIR "/samples/" + name + ".jpg");
    const auto* bytes = reinterpret_cast<const unsigned char*>(file.data());
    Picture picture;
    int other = 0;
    tjhandle handle = tjInitDecompress();
    if (tjDecompressHeader3(handle, bytes, file.size(), &picture.width, &picture.height, &other, &other) ==
        0) {
        picture.rgb.resize(static_cast<std::size_t>(3 * picture.width * picture.height));
        if (tjDecompress2(handle, bytes, file.size(), picture.rgb.data(), picture.width, 0, picture.height,
                          TJPF_RGB, 0) != 0) {
            picture.rgb.clear();
        }
    }
    tjDestroy(handle);
    return picture;
}

}  // namespace

bool fillWithPhoto(Frame& frame, const std::string& name) {
    static std::map<std::string, Picture> pictures;
    const auto found = pictures.find(name);
    const Picture& picture = found != pictures.end() ? found->second : pictures[name] = decode(name);
    const RoiInfo& roi = frame.roi();
    if (picture.rgb.empty() || picture.width < roi.width || picture.height < roi.height) {
        return false;
    }
    const int top = (picture.height - roi.height) / 2;
    const int left = (picture.width - roi.width) / 2;
    const auto level = [&](int x, int y, double red, double green, double blue) {
        const unsigned char* pixel =
            picture.rgb.data() + static_cast<std::ptrdiff_t>(3) * ((y + top) * picture.width + x + left);
        return red * pixel[0] + green * pixel[1] + blue * pixel[2];
    };
    for (int y = 0; y < roi.height; ++y) {
        for (int x = 0; x < roi.width; ++x) {
            frame.setLuma(x, y, static_cast<int>(level(x, y, 0.299, 0.587, 0.114)));
            if (y < roi.height / 2) {
                const int block = x / 2 * 2;
                const double chroma = x % 2 == 0 ? level(block, 2 * y, -0.168, -0.331, 0.499)
                                                 : level(block, 2 * y, 0.499, -0.418, -0.081);
                frame.setChroma(x, y, static_cast<int>(128 + chroma));
            }
        }
    }
    return true;
}

}  // namespace test

#else

namespace test {
bool fillWithPhoto(Frame&, const std::string&) { return false; }
}  // namespace test

#endif
