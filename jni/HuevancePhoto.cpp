#include "jni/HuevancePhoto.h"

#include "cpu/HuevancePhoto_CPU.h"
#include "jni/DispatchShims.h"
#include "jni/HostKernels.h"
#include "neon/HuevancePhoto_NEON.h"
#include "ogl/HuevancePhoto_OGL.h"

namespace {

struct Row {
    const char* name;
    int (*create)(char* directory, RoiInfo size, int dataBit, void** handle);
    int (*set)(void* handle, char* key, void* value);
    const dispatch::Texts& setTexts;
    int (*process)(void* handle, Image& image, int scene);
    int (*release)(void* handle);
};

constexpr dispatch::Texts kMallocTexts = {"HuevanceMalloc succeeded!\n", "HuevanceMalloc failed!\n"};
constexpr dispatch::Texts kSetTexts = {"HuevanceSetExtParam succeeded!\n", "HuevanceSetExtParam failed!\n"};
constexpr dispatch::Texts kSetTextsOgl = {"HuevancePhotoSetExtParam_OGL succeeded!\n",
                                          "HuevancePhotoSetExtParam_OGL failed!\n"};
constexpr dispatch::Texts kFreeTexts = {"HuevanceFree succeeded!\n", "HuevanceFree failed!\n"};
constexpr const char* kFreeNullText = "HuevanceFree failed! HvcHandle is NULL!\n";

template <typename Object>
int mallocHost(char* directory, RoiInfo size, int dataBit, void** handle) {
    return dispatch::create<Object>(handle, kMallocTexts, [=](Object& object) {
        if constexpr (requires { object.useKernels(dispatch::hostKernels()); }) {
            object.useKernels(dispatch::hostKernels());
        }
        object.setDataBit(dataBit);
        return object.malloc(directory, size);
    });
}

template <typename Object>
int setHost(void* handle, char* key, void* value) {
    return dispatch::forward<Object>(handle, kSetTexts,
                                     [=](Object& object) { return object.setExtParam(key, value); });
}

template <typename Object>
int freeHost(void* handle) {
    return dispatch::destroy<Object>(handle, kFreeNullText, kFreeTexts,
                                     [](Object& object) { return object.free(); });
}

// The back ends of this mode, in the order in which their names are compared.
constexpr Row kRows[] = {
    {"CPU", HuevancePhotoMalloc_CPU, HuevancePhotoSetExtParam_CPU, kSetTexts,
     [](void* handle, Image& image, int scene) {
         return HuevancePhotoProcess_CPU(handle, image.planes[0].data, image.format, scene);
     },
     HuevancePhotoFree_CPU},
    {"NEON", HuevancePhotoMalloc_NEON, HuevancePhotoSetExtParam_NEON, kSetTexts,
     [](void* handle, Image& image, int scene) {
         return HuevancePhotoProcess_NEON(handle, image.planes[0].data, image.format, scene);
     },
     HuevancePhotoFree_NEON},
    {"OGL", HuevancePhotoMalloc_OGL, HuevancePhotoSetExtParam_OGL, kSetTextsOgl,
     [](void* handle, Image& image, int scene) {
         // Without a hardware buffer nothing is processed, on purpose without a word.
         void* buffer = image.planes[3].data;
         return buffer != nullptr
                    ? HuevancePhotoProcess_OGL(handle, image.planes[0].data, buffer, image.format, scene)
                    : 0;
     },
     HuevancePhotoFree_OGL},
};

}  // namespace

int HuevancePhotoMalloc(char* platform, char* directory, RoiInfo size, int dataBit, void** handle) {
    const Row* row = dispatch::find(kRows, platform);
    return row != nullptr ? row->create(directory, size, dataBit, handle) : 0;
}

int HuevancePhotoSetExtParam(char* platform, void* handle, ExtParam* param) {
    const Row* row = dispatch::find(kRows, platform);
    if (row == nullptr) {
        return 0;
    }
    if (param == nullptr) {
        return dispatch::report(-1, row->setTexts);
    }
    return row->set(handle, const_cast<char*>(param->key), param->value);
}

int HuevancePhotoProcess(char* platform, void* handle, Image* image, int scene) {
    const Row* row = dispatch::find(kRows, platform);
    if (row == nullptr) {
        return 0;
    }
    if (image == nullptr) {
        ALOG_ERROR("HuevancePhotoProcess: image is NULL!");
        return -1;
    }
    return row->process(handle, *image, scene);
}

int HuevancePhotoFree(char* platform, void* handle) {
    const Row* row = dispatch::find(kRows, platform);
    return row != nullptr ? row->release(handle) : 0;
}

int HuevancePhotoMalloc_CPU(char* directory, RoiInfo size, int dataBit, void** handle) {
    return mallocHost<CHuevancePhoto_CPU>(directory, size, dataBit, handle);
}

int HuevancePhotoSetExtParam_CPU(void* handle, char* key, void* value) {
    return setHost<CHuevancePhoto_CPU>(handle, key, value);
}

int HuevancePhotoProcess_CPU(void* handle, void* data, IMAGE_FORMAT_TYPE format, int scene) {
    return dispatch::forward<CHuevancePhoto_CPU>(
        handle, {"HuevanceProcess succeeded!\n", "HuevanceProcess failed!\n"},
        [=](CHuevancePhoto_CPU& photo) { return photo.process(data, format, scene); });
}

int HuevancePhotoFree_CPU(void* handle) { return freeHost<CHuevancePhoto_CPU>(handle); }

int HuevancePhotoMalloc_NEON(char* directory, RoiInfo size, int dataBit, void** handle) {
    return mallocHost<CHuevancePhoto_NEON>(directory, size, dataBit, handle);
}

int HuevancePhotoSetExtParam_NEON(void* handle, char* key, void* value) {
    return setHost<CHuevancePhoto_NEON>(handle, key, value);
}

int HuevancePhotoProcess_NEON(void* handle, void* data, IMAGE_FORMAT_TYPE format, int scene) {
    return dispatch::forwardTimed<CHuevancePhoto_NEON>(
        handle, "Huevance in NEON run time is %.2fms\n",
        {"HuevancePhotoProcess_NEON succeeded!\n", "HuevancePhotoProcess_NEON failed!\n"},
        [=](CHuevancePhoto_NEON& photo) { return photo.process(data, format, scene); });
}

int HuevancePhotoFree_NEON(void* handle) { return freeHost<CHuevancePhoto_NEON>(handle); }

int HuevancePhotoMalloc_OGL(char* directory, RoiInfo size, int dataBit, void** handle) {
    return dispatch::create<CHuevancePhoto_OGL>(
        handle, {"HuevancePhotoMalloc_OGL succeeded!\n", "HuevancePhotoMalloc_OGL failed!\n"},
        [=](CHuevancePhoto_OGL& photo) {
            photo.setDataBit(dataBit);
            return photo.init(directory, size);
        });
}

int HuevancePhotoSetExtParam_OGL(void* handle, char* key, void* value) {
    return dispatch::forward<CHuevancePhoto_OGL>(
        handle, kSetTextsOgl, [=](CHuevancePhoto_OGL& photo) { return photo.set(key, value); });
}

int HuevancePhotoProcess_OGL(void* handle, void* data, void* hardwareBuffer, IMAGE_FORMAT_TYPE format,
                             int scene) {
    return dispatch::forwardTimed<CHuevancePhoto_OGL>(
        handle, "HVCapture Huevance in OGL run time is %.2fms\n",
        {"HuevancePhotoProcess_OGL succeeded!\n", "HuevancePhotoProcess_OGL failed!\n"},
        [=](CHuevancePhoto_OGL& photo) { return photo.process(data, hardwareBuffer, format, scene); });
}

int HuevancePhotoFree_OGL(void* handle) {
    return dispatch::destroy<CHuevancePhoto_OGL>(handle, kFreeNullText, kFreeTexts,
                                                 [](CHuevancePhoto_OGL& photo) { return photo.destroy(); });
}
