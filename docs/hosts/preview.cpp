// A host for previews on the GPU: a stream of raw NV21 frames in a file, in place, through buffers that have
// descriptors, as a camera's have. The GPU back end wraps such a buffer by its descriptor, without a copy.
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/dma-heap.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "jni/HuevanceAPI.h"

namespace {

struct Buffer {
    int fd = -1;
    void* data = MAP_FAILED;
};

// A phone's camera brings its buffers; here they come from the system's heap, or on a computer from a memory
// file.
Buffer allocate(std::size_t size) {
    Buffer buffer;
    const int heap = open("/dev/dma_heap/system", O_RDONLY | O_CLOEXEC);
    dma_heap_allocation_data request = {};
    request.len = size;
    request.fd_flags = O_RDWR | O_CLOEXEC;
    if (heap >= 0 && ioctl(heap, DMA_HEAP_IOCTL_ALLOC, &request) == 0) {
        buffer.fd = static_cast<int>(request.fd);
    }
#ifndef __ANDROID__
    if (buffer.fd < 0) {
        buffer.fd = memfd_create("frame", MFD_CLOEXEC);
        if (ftruncate(buffer.fd, static_cast<off_t>(size)) != 0) {
            return buffer;
        }
    }
#endif
    if (heap >= 0) {
        close(heap);
    }
    buffer.data = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, buffer.fd, 0);
    return buffer;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 7) {
        std::fprintf(stderr, "usage: preview LIBRARY TUNING_PARENT TUNING_NAME WIDTH HEIGHT STREAM.nv21\n");
        return 2;
    }
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    auto* getApi =
        library != nullptr ? reinterpret_cast<int (*)(AlgoApi*)>(dlsym(library, "get_algo_api")) : nullptr;
    std::FILE* file = std::fopen(argv[6], "rb+");
    const int width = std::atoi(argv[4]), height = std::atoi(argv[5]);
    if (getApi == nullptr || file == nullptr || width < 2 || height < 2) {
        std::fprintf(stderr, "cannot open the library or the stream\n");
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

    // A fixed set of buffers, used in turn. All are mapped for the whole stream.
    const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height + height / 2);
    Buffer buffers[4];
    bool good = true;
    for (Buffer& buffer : buffers) {
        buffer = allocate(size);
        good = good && buffer.data != MAP_FAILED;
    }
    for (long frame = 0; good; ++frame) {
        const Buffer& buffer = buffers[frame % 4];
        std::fseek(file, frame * static_cast<long>(size), SEEK_SET);
        if (std::fread(buffer.data, 1, size, file) != size) {
            break;  // the end
        }
        Image image = {};
        image.format = IMAGE_FORMAT_TYPE_NV21;
        image.planes[0].data = buffer.data;
        image.planes[0].fd = buffer.fd;
        int scene = 0;  // the camera's; a change of it fades
        good = api.singleProcessImage(handle, &image, &scene, nullptr) == 0;
        std::fseek(file, frame * static_cast<long>(size), SEEK_SET);
        good = good && std::fwrite(buffer.data, 1, size, file) == size;
    }
    api.releaseHandle(handle, nullptr);  // before the buffers go
    for (const Buffer& buffer : buffers) {
        if (buffer.data != MAP_FAILED) {
            munmap(buffer.data, size);
        }
        if (buffer.fd >= 0) {
            close(buffer.fd);
        }
    }
    return std::fclose(file) == 0 && good ? 0 : 4;
}
