// A host for previews with OpenGL ES: reads a stream of raw NV12 frames, has each drawn into one of a few
// hardware buffers, and writes what they hold into another file. A real host would show the buffers.
#include <android/hardware_buffer.h>
#include <dlfcn.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "jni/HuevanceAPI.h"

namespace {

AHardwareBuffer* allocate(int width, int height) {
    AHardwareBuffer_Desc desc = {};
    desc.width = static_cast<std::uint32_t>(width);
    desc.height = static_cast<std::uint32_t>(height);
    desc.layers = 1;
    desc.format = AHARDWAREBUFFER_FORMAT_Y8Cb8Cr8_420;
    desc.usage = AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER | AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN;
    AHardwareBuffer* buffer = nullptr;
    return AHardwareBuffer_allocate(&desc, &buffer) == 0 ? buffer : nullptr;
}

// The buffer's rows without their padding. Locking waits for the drawing.
bool write(AHardwareBuffer* buffer, int width, int height, std::FILE* file) {
    AHardwareBuffer_Planes planes = {};
    if (AHardwareBuffer_lockPlanes(buffer, AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN, -1, nullptr, &planes) != 0) {
        return false;
    }
    bool good = true;
    const auto writeRows = [&](const void* data, std::uint32_t pitch, int rows) {
        for (int row = 0; row < rows; ++row) {
            good = good &&
                   std::fwrite(
                       static_cast<const char*>(data) + std::size_t{pitch} * static_cast<std::size_t>(row), 1,
                       static_cast<std::size_t>(width), file) == static_cast<std::size_t>(width);
        }
    };
    writeRows(planes.planes[0].data, planes.planes[0].rowStride, height);
    writeRows(std::min(planes.planes[1].data, planes.planes[2].data), planes.planes[1].rowStride, height / 2);
    AHardwareBuffer_unlock(buffer, nullptr);
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 8) {
        std::fprintf(stderr,
                     "usage: preview_ogl LIBRARY TUNING_PARENT TUNING_NAME WIDTH HEIGHT IN.nv12 OUT.nv12\n");
        return 2;
    }
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    auto* getApi =
        library != nullptr ? reinterpret_cast<int (*)(AlgoApi*)>(dlsym(library, "get_algo_api")) : nullptr;
    std::FILE* in = std::fopen(argv[6], "rb");
    std::FILE* out = std::fopen(argv[7], "wb");
    const int width = std::atoi(argv[4]), height = std::atoi(argv[5]);
    if (getApi == nullptr || in == nullptr || out == nullptr || width < 2 || height < 2) {
        std::fprintf(stderr, "cannot open the library or the streams\n");
        return 3;
    }
    AlgoApi api = {};
    getApi(&api);

    InitParam init = {};
    init.dataBit = 8;
    init.framePhotoFlag = kFrameMode;
    init.directory1 = argv[2];
    init.directory2 = argv[3];
    init.imageRoi = {width, height, width, height};
    void* handle = nullptr;
    if (const int code = api.algoInitHandle(&handle, &init); code != 0) {
        std::fprintf(stderr, "set-up failed with %d: see the log\n", code);
        return 4;
    }

    // A fixed set, used in turn: the library imports each buffer once and keeps it until the handle is
    // released.
    AHardwareBuffer* outputs[3] = {};
    bool good = true;
    for (AHardwareBuffer*& output : outputs) {
        output = allocate(width, height);
        good = good && output != nullptr;
    }
    std::vector<unsigned char> pixels(static_cast<std::size_t>(width) *
                                      static_cast<std::size_t>(height + height / 2));
    for (std::size_t frame = 0; good && std::fread(pixels.data(), 1, pixels.size(), in) == pixels.size();
         ++frame) {
        Image image = {};
        image.format = IMAGE_FORMAT_TYPE_NV12;
        image.planes[0].data = pixels.data();       // the input, in memory
        image.planes[0].fd = -1;                    // not read by this back end
        image.planes[3].data = outputs[frame % 3];  // the output
        int scene = 0;
        good = api.singleProcessImage(handle, &image, &scene, nullptr) == 0 &&
               write(outputs[frame % 3], width, height, out);
    }
    api.releaseHandle(handle, nullptr);  // before the buffers go
    for (AHardwareBuffer* output : outputs) {
        if (output != nullptr) {
            AHardwareBuffer_release(output);
        }
    }
    std::fclose(in);
    return std::fclose(out) == 0 && good ? 0 : 4;
}
