// A host for captures: enhances a raw frame in a file, in place. BITS is 8 (NV21), or 10 to 16 for 16-bit
// samples with the significant bits at the top (P010 and its kin), which the CPU and NEON back ends take.
#include <dlfcn.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "jni/HuevanceAPI.h"

int main(int argc, char** argv) {
    if (argc != 8) {
        std::fprintf(stderr, "usage: capture LIBRARY TUNING_PARENT TUNING_NAME WIDTH HEIGHT BITS FRAME\n");
        return 2;
    }
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    auto* getApi =
        library != nullptr ? reinterpret_cast<int (*)(AlgoApi*)>(dlsym(library, "get_algo_api")) : nullptr;
    std::FILE* file = std::fopen(argv[7], "rb+");
    const int width = std::atoi(argv[4]), height = std::atoi(argv[5]), bits = std::atoi(argv[6]);
    if (getApi == nullptr || file == nullptr || width < 1 || height < 1) {
        std::fprintf(stderr, "cannot open the library or the frame\n");
        return 3;
    }
    AlgoApi api = {};
    getApi(&api);

    InitParam init = {};
    init.dataBit = bits;
    init.framePhotoFlag = kPhotoMode;
    init.directory1 = argv[2];  // the tuning directory is "<directory1>/<directory2>"
    init.directory2 = argv[3];
    const int stride = (width + width % 2) * (bits > 8 ? 2 : 1);  // bytes; chroma rows hold whole pairs
    init.imageRoi = {width, height, stride, /*scanline=*/height};
    void* handle = nullptr;
    if (const int code = api.algoInitHandle(&handle, &init); code != 0) {
        std::fprintf(stderr, "set-up failed with %d: see the log\n", code);
        return 4;
    }

    std::vector<unsigned char> pixels(static_cast<std::size_t>(stride) *
                                      static_cast<std::size_t>(height + height / 2));
    Image image = {};
    image.w = width;
    image.h = height;
    image.num_plane = 2;
    image.format = bits > 8 ? IMAGE_FORMAT_TYPE_YUV16_HIGH : IMAGE_FORMAT_TYPE_NV21;
    image.planes[0].data = pixels.data();  // chroma follows at stride x scanline bytes
    image.planes[0].fd = -1;               // 0 would be a descriptor
    int scene = 0;
    bool good = std::fread(pixels.data(), 1, pixels.size(), file) == pixels.size() &&
                api.singleProcessImage(handle, &image, &scene, nullptr) == 0;
    api.releaseHandle(handle, nullptr);
    std::rewind(file);
    good = good && std::fwrite(pixels.data(), 1, pixels.size(), file) == pixels.size();
    return std::fclose(file) == 0 && good ? 0 : 4;
}
