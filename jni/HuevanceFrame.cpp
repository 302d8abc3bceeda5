#include "jni/HuevanceFrame.h"

#include "cpu/HuevanceFrame_CPU.h"
#include "gpu/HuevanceFrame_GPU.h"
#include "jni/DispatchShims.h"
#include "jni/HostKernels.h"
#include "ogl/HuevanceFrame_OGL.h"

namespace {

struct Row {
    const char* name;
    int (*create)(char* directory, RoiInfo size, int dataBit, char* cachePath, void** handle);
    int (*set)(void* handle, char* key, void* value);
    const dispatch::Texts& setTexts;
    int (*process)(void* handle, Image& image, int scene);
    int (*release)(void* handle);
};

constexpr dispatch::Texts kSetTexts = {"HuevanceSetExtParam succeeded!\n", "HuevanceSetExtParam failed!\n"};
constexpr dispatch::Texts kSetTextsGpu = {"HuevanceSetExtParam_GPU succeeded!\n",
                                          "HuevanceSetExtParam failed!\n"};
constexpr dispatch::Texts kSetTextsOgl = {"HuevanceFrameSetExtParam_OGL succeeded!\n",
                                          "HuevanceFrameSetExtParam_OGL failed!\n"};

// The back ends of this mode, in the order in which their names are compared.
constexpr Row kRows[] = {
    {"CPU",
     [](char* directory, RoiInfo size, int dataBit, char* /*cachePath*/, void** handle) {
         return HuevanceFrameMalloc_CPU(directory, size, dataBit, handle);
     },
     HuevanceFrameSetExtParam_CPU, kSetTexts,
     [](void* handle, Image& image, int scene) {
         return HuevanceFrameProcess_CPU(handle, image.planes[0].data, image.format, scene);
     },
     HuevanceFrameFree_CPU},
    {"GPU", HuevanceFrameMalloc_GPU, HuevanceFrameSetExtParam_GPU, kSetTextsGpu,
     [](void* handle, Image& image, int scene) {
         return HuevanceFrameProcess_GPU(handle, image.planes[0].data, image.planes[0].fd, image.format,
                                         scene);
     },
     HuevanceFrameFree_GPU},
    {"OGL", HuevanceFrameMalloc_OGL, HuevanceFrameSetExtParam_OGL, kSetTextsOgl,
     [](void* handle, Image& image, int scene) {
         return HuevanceFrameProcess_OGL(handle, image.planes[0].data, image.planes[0].fd,
                                         image.planes[3].data, image.format, scene);
     },
     HuevanceFrameFree_OGL},
};

}  // namespace

int HuevanceFrameMalloc(char* platform, char* directory, RoiInfo size, int dataBit, char* cachePath,
                        void** handle) {
    const Row* row = dispatch::find(kRows, platform);
    return row != nullptr ? row->create(directory, size, dataBit, cachePath, handle) : 0;
}

int HuevanceFrameSetExtParam(char* platform, void* handle, ExtParam* param) {
    const Row* row = dispatch::find(kRows, platform);
    if (row != nullptr && param == nullptr) {
        dispatch::report(-1, row->setTexts);
    } else if (row != nullptr) {
        row->set(handle, const_cast<char*>(param->key), param->value);
    }
    return 0;  // on purpose: preview never reports a parameter's failure upward
}

int HuevanceFrameProcess(char* platform, void* handle, Image* image, int scene) {
    const Row* row = dispatch::find(kRows, platform);
    if (row == nullptr) {
        return 0;
    }
    if (image == nullptr) {
        ALOG_ERROR("HuevanceFrameProcess: image is NULL!");
        return -1;
    }
    return row->process(handle, *image, scene);
}

int HuevanceFrameFree(char* platform, void* handle) {
    const Row* row = dispatch::find(kRows, platform);
    return row != nullptr ? row->release(handle) : 0;
}

int HuevanceFrameMalloc_CPU(char* directory, RoiInfo size, int dataBit, void** handle) {
    return dispatch::create<CHuevanceFrame_CPU>(
        handle, {"HuevanceMalloc succeeded!\n", "HuevanceMalloc failed!\n"}, [=](CHuevanceFrame_CPU& frame) {
            frame.useKernels(dispatch::hostKernels());
            frame.setDataBit(dataBit);
            return frame.malloc(directory, size);
        });
}

int HuevanceFrameSetExtParam_CPU(void* handle, char* key, void* value) {
    return dispatch::forward<CHuevanceFrame_CPU>(
        handle, kSetTexts, [=](CHuevanceFrame_CPU& frame) { return frame.setExtParam(key, value); });
}

int HuevanceFrameProcess_CPU(void* handle, void* data, IMAGE_FORMAT_TYPE format, int scene) {
    return dispatch::forward<CHuevanceFrame_CPU>(
        handle, {"HuevanceProcess succeeded!\n", "HuevanceProcess failed!\n"},
        [=](CHuevanceFrame_CPU& frame) { return frame.process(data, format, scene); });
}

int HuevanceFrameFree_CPU(void* handle) {
    return dispatch::destroy<CHuevanceFrame_CPU>(handle, "HuevanceFree failed! HvcHandle is NULL!\n",
                                                 {"HuevanceFree succeeded!\n", "HuevanceFree failed!\n"},
                                                 [](CHuevanceFrame_CPU& frame) { return frame.free(); });
}

int HuevanceFrameMalloc_GPU(char* directory, RoiInfo size, int dataBit, char* cachePath, void** handle) {
    return dispatch::create<CHuevanceFrame_GPU>(
        handle, {"HuevanceMalloc_GPU succeeded!\n", "HuevanceMalloc_GPU failed!\n"},
        [=](CHuevanceFrame_GPU& frame) {
            frame.setDataBit(dataBit);
            frame.setCachePath(cachePath);
            return frame.malloc(directory, size);
        });
}

int HuevanceFrameSetExtParam_GPU(void* handle, char* key, void* value) {
    return dispatch::forward<CHuevanceFrame_GPU>(
        handle, kSetTextsGpu, [=](CHuevanceFrame_GPU& frame) { return frame.setExtParam(key, value); });
}

int HuevanceFrameProcess_GPU(void* handle, void* data, int fd, IMAGE_FORMAT_TYPE format, int scene) {
    return dispatch::forwardTimed<CHuevanceFrame_GPU>(
        handle, "preview on GPU run time is %.2fms\n",
        {"HuevanceProcess_GPU succeeded!\n", "HuevanceProcess_GPU failed!\n"},
        [=](CHuevanceFrame_GPU& frame) { return frame.process(data, fd, format, scene); });
}

int HuevanceFrameFree_GPU(void* handle) {
    return dispatch::destroy<CHuevanceFrame_GPU>(
        handle, "HuevanceFree_GPU failed! HvcHandle is NULL!\n",
        {"HuevanceFree_GPU succeeded!\n", "HuevanceFree_GPU failed!\n"},
        [](CHuevanceFrame_GPU& frame) { return frame.free(); });
}

int HuevanceFrameMalloc_OGL(char* directory, RoiInfo size, int dataBit, char* /*cachePath*/, void** handle) {
    return dispatch::create<CHuevanceFrame_OGL>(
        handle, {"HuevanceFrameMalloc_OGL succeeded!\n", "HuevanceFrameMalloc_OGL failed!\n"},
        [=](CHuevanceFrame_OGL& frame) {
            frame.setDataBit(dataBit);
            return frame.init(directory, size);
        });
}

int HuevanceFrameSetExtParam_OGL(void* handle, char* key, void* value) {
    return dispatch::forward<CHuevanceFrame_OGL>(
        handle, kSetTextsOgl, [=](CHuevanceFrame_OGL& frame) { return frame.set(key, value); });
}

int HuevanceFrameProcess_OGL(void* handle, void* data, int fd, void* hardwareBuffer, IMAGE_FORMAT_TYPE format,
                             int scene) {
    return dispatch::forwardTimed<CHuevanceFrame_OGL>(
        handle, "preview on GPU run time is %.2fms\n",  // on purpose the GPU back end's text
        {nullptr, "HuevanceFrameProcess_OGL failed!\n"},
        [=](CHuevanceFrame_OGL& frame) { return frame.process(data, fd, hardwareBuffer, format, scene); });
}

int HuevanceFrameFree_OGL(void* handle) {
    return dispatch::destroy<CHuevanceFrame_OGL>(
        handle, "HuevanceFrameFree_OGL failed! HvcHandle is NULL!\n",
        {"HuevanceFrameFree_OGL succeeded!\n", "HuevanceFrameFree_OGL failed!\n"},
        [](CHuevanceFrame_OGL& frame) { return frame.destroy(); });
}
