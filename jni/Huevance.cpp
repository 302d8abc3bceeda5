#include "jni/Huevance.h"

#include <cstring>

#include "jni/HuevanceFrame.h"
#include "jni/HuevancePhoto.h"
#include "jni/algocommon/FileOperation.h"
#include "jni/algocommon/IniReader.h"
#include "jni/algocommon/LogPrintf.h"

// The handle object's layout is part of the binary interface.
struct HuevanceLayout {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
    static_assert(offsetof(Huevance, m_hvcHandle) == 8 && offsetof(Huevance, m_acPlatform) == 16);
    static_assert(offsetof(Huevance, m_iFramePhotoFlag) == 32 && offsetof(Huevance, m_acCachePath) == 36);
    static_assert(sizeof(Huevance) == 552);
#pragma GCC diagnostic pop
};

namespace {

constexpr std::size_t kPathLength = 512;

// Copies a value of platformSet.ini without its last character: the files end their lines with a carriage
// return and a line feed, and the reader keeps the former. False when the value is empty or does not fit.
bool copyWithoutLast(char* field, std::size_t capacity, const char* value) {
    const std::size_t length = std::strlen(value);
    if (length == 0 || length - 1 >= capacity) {
        return false;
    }
    std::memset(field, 0, capacity);
    std::memcpy(field, value, length - 1);
    return true;
}

}  // namespace

int Huevance::HuevanceMalloc(InitParam* init) {
    if (init == nullptr) {
        LOG_ERROR("pInitParam %p", static_cast<void*>(init));
        return -1;
    }
    std::memset(m_acPlatform, 0, sizeof(m_acPlatform));
    m_iFramePhotoFlag = init->framePhotoFlag;

    // The paths come before the mode: one that is too long is fatal whatever the mode.
    const bool hasDirectory = init->directory1 != nullptr && init->directory2 != nullptr;
    char directory[kPathLength] = {};
    char platformFile[kPathLength] = {};
    if (hasDirectory) {
        formatPath(directory, sizeof(directory), "%s/%s", init->directory1, init->directory2);
        formatPath(platformFile, sizeof(platformFile), "%s/platformSet.ini", directory);
    }
    if (m_iFramePhotoFlag != kPhotoMode && m_iFramePhotoFlag != kFrameMode) {
        LOG_ERROR("m_iFramePhotoFlag is invalid");
        return -1;
    }
    if (!hasDirectory) {
        LOG_ERROR("the tuning directory is missing");
        return -1;
    }

    const int result = m_iFramePhotoFlag == kPhotoMode ? mallocPhoto(*init, directory, platformFile)
                                                       : mallocFrame(*init, directory, platformFile);
    if (result != 0) {
        return -1;
    }

    // The results are ignored: a back end that wants a mask refuses frames until it has one.
    ExtParam maskRoi = {"portraitMaskRoiInfo", &init->portraitMaskRoi};
    HuevanceSetExtParam(&maskRoi);
    ExtParam maskPointer = {"portraitMaskPointer", init->portraitMask};
    HuevanceSetExtParam(&maskPointer);
    return 0;
}

// The failure lines of both set-ups carry HuevanceMalloc's name, which is what hosts know.
#define LOG_MALLOC_ERROR(text)                                                                              \
    LogPrintf::logPrint(LogPrintf::kError, "[ERROR][ %s ] %d  %s() " text, logBaseName(__FILE__), __LINE__, \
                        "HuevanceMalloc")

int Huevance::mallocPhoto(const InitParam& init, char* directory, const char* platformFile) {
    char value[kIniLineLength] = {};
    if (readIniKeyStr("platform", "photo", platformFile, value) != 0 ||
        !copyWithoutLast(m_acPlatform, sizeof(m_acPlatform), value) || m_acPlatform[0] == '\0') {
        LOG_MALLOC_ERROR("platform is NULL");
        return -1;
    }
    if (HuevancePhotoMalloc(m_acPlatform, directory, init.imageRoi, init.dataBit, &m_hvcHandle) != 0) {
        LOG_MALLOC_ERROR("HuevancePhotoMalloc failed");
        return -1;
    }
    return 0;
}

int Huevance::mallocFrame(const InitParam& init, char* directory, const char* platformFile) {
    char value[kIniLineLength] = {};
    const int platformResult = readIniKeyStr("platform", "frame", platformFile, value);
    ALOG_INFO("platform %s", value);  // on purpose before the result is looked at, here and below
    if (platformResult != 0 || !copyWithoutLast(m_acPlatform, sizeof(m_acPlatform), value) ||
        m_acPlatform[0] == '\0') {
        LOG_MALLOC_ERROR("platform is NULL");
        return -1;
    }

    std::memset(m_acCachePath, 0, sizeof(m_acCachePath));
    std::memset(value, 0, sizeof(value));
    const int cacheResult = readIniKeyStr("cache", "path", platformFile, value);
    ALOG_INFO("cache path %s", value);
    if (cacheResult != 0 || !copyWithoutLast(m_acCachePath, sizeof(m_acCachePath), value)) {
        LOG_MALLOC_ERROR("cache path is NULL");
        return -1;
    }
    if (HuevanceFrameMalloc(m_acPlatform, directory, init.imageRoi, init.dataBit, m_acCachePath,
                            &m_hvcHandle) != 0) {
        LOG_MALLOC_ERROR("HuevanceFrameMalloc failed");
        return -1;
    }
    return 0;
}
#undef LOG_MALLOC_ERROR

int Huevance::HuevanceSetExtParam(ExtParam* param) {
    if (param == nullptr || m_hvcHandle == nullptr) {
        LOG_ERROR("m_hvcHandle %p, pExtParam %p", m_hvcHandle, static_cast<void*>(param));
        return -1;
    }
    if (m_iFramePhotoFlag == kPhotoMode && HuevancePhotoSetExtParam(m_acPlatform, m_hvcHandle, param) != 0) {
        LOG_ERROR("HuevancePhotoSetExtParam failed");
        return -1;
    }
    if (m_iFramePhotoFlag == kFrameMode) {
        HuevanceFrameSetExtParam(m_acPlatform, m_hvcHandle, param);  // on purpose: its result is ignored
    }
    return 0;
}

int Huevance::HuevanceProcess(Image* image, int scene) {
    if (image == nullptr || m_hvcHandle == nullptr) {
        LOG_ERROR("m_hvcHandle %p, pImage %p", m_hvcHandle, static_cast<void*>(image));
        return -1;
    }
    if (m_iFramePhotoFlag == kPhotoMode &&
        HuevancePhotoProcess(m_acPlatform, m_hvcHandle, image, scene) != 0) {
        LOG_ERROR("HuevancePhotoProcess failed");
        return -1;
    }
    if (m_iFramePhotoFlag == kFrameMode &&
        HuevanceFrameProcess(m_acPlatform, m_hvcHandle, image, scene) != 0) {
        LOG_ERROR("HuevanceFrameProcess failed");
        return -1;
    }
    return 0;
}

// On purpose m_hvcHandle stays: the object is destroyed right after.
int Huevance::HuevanceFree() {
    if (m_hvcHandle == nullptr) {
        LOG_ERROR("m_hvcHandle is null");
        return -1;
    }
    if (m_iFramePhotoFlag == kPhotoMode && HuevancePhotoFree(m_acPlatform, m_hvcHandle) != 0) {
        LOG_ERROR("HuevancePhotoFree failed");
        return -1;
    }
    if (m_iFramePhotoFlag == kFrameMode && HuevanceFrameFree(m_acPlatform, m_hvcHandle) != 0) {
        LOG_ERROR("HuevanceFrameFree failed");
        return -1;
    }
    return 0;
}

int Huevance::isSupportFormat(int format) {
    switch (format) {
        case IMAGE_FORMAT_TYPE_NV21:
        case IMAGE_FORMAT_TYPE_NV12:
            return 1;
        case IMAGE_FORMAT_TYPE_YUV16_LOW:
        case IMAGE_FORMAT_TYPE_YUV16_HIGH:
            return std::strcmp(m_acPlatform, "CPU") == 0 ? 1 : 0;
        default:
            LOG_INFO("don't support format");
            return 0;
    }
}
