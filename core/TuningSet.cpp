#include "core/TuningSet.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "core/Buffer.h"
#include "core/ColorLut.h"
#include "core/Geometry.h"
#include "jni/algocommon/FileOperation.h"
#include "jni/algocommon/IniReader.h"
#include "jni/algocommon/LogPrintf.h"

namespace huevance {

namespace {

constexpr std::size_t kPathLength = 512;

// "<directory>/<name>", or "<directory>/<name><table><suffix>".
class TuningPath {
public:
    TuningPath(const char* directory, const char* name) {
        formatPath(m_text, kPathLength, "%s/%s", directory, name);
    }
    TuningPath(const char* directory, const char* name, int table, const char* suffix = "") {
        formatPath(m_text, kPathLength, "%s/%s%d%s", directory, name, table, suffix);
    }
    const char* text() const { return m_text; }

private:
    char m_text[kPathLength];
};

void readFloatIfThere(const char* key, const char* path, float* value) {
    if (findIniFloat("hvc", key, path, value) == 0 && !std::isfinite(*value)) {
        *value = 0.0F;
    }
}

}  // namespace

int TuningSet::setSensorPath(const char* path) {
    if (path == nullptr) {
        ALOG_ERROR("pcSensorPath is NULL!");
        m_acSensorPath[0] = '\0';
        return -1;
    }
    ALOG_INFO("pcSensorPath: %s", path);
    formatPath(m_acSensorPath, sizeof(m_acSensorPath), "%s", path);
    return 0;
}

int TuningSet::readPhotoSet() { return readSet(Mode::kPhoto); }

int TuningSet::readFrameSet() { return readSet(Mode::kFrame); }

int TuningSet::readSet(Mode mode) {
    const bool photo = mode == Mode::kPhoto;
    struct Key {
        const char* section;
        const char* name;
        int* value;
        bool read = true;  // whether this mode's file has the key
        bool log = true;   // whether this mode logs the value
    };
    // In the order of the log lines.
    const Key keys[] = {
        {"save", "photo", &m_iSavePhoto, photo, photo},
        {"switch", "photoSwitch", &m_iPhotoSwitch, photo, photo},
        {"save", "frame", &m_iSaveFrame, !photo, !photo},
        {"switch", "frameSwitch", &m_iFrameSwitch, !photo, !photo},
        {"hvc", "claheSwitch", &m_iClaheSwitch},
        {"hvc", "curveSwitch", &m_iCurveSwitch},
        {"hvc", "colorSwitch", &m_iColorSwitch},
        {"hvc", "cCorrSwitch", &m_iCCorrSwitch},
        {"hvc", "gridWidth", &m_iGridWidth},
        {"hvc", "gridHeight", &m_iGridHeight},
        {"hvc", "sampRate", &m_iSampRate},
        {"hvc", "dataBit", &m_iDataBit, false},  // no key: the host sets it
        {"hvc", "transFrameNum", &m_iTransFrameNum, !photo, !photo},
        {"portrait", "maskSource", &m_iMaskSource},
        {"portrait", "pProtectSwitch", &m_iPProtectSwitch},
        {"scene", "sceneNum", &m_iSceneNum},
        {"scene", "idxNum", &m_iIdxNum, false},  // no key: the number of sceneIdx entries
    };

    const TuningPath path(m_acSensorPath, photo ? "photoSet.ini" : "frameSet.ini");
    const bool refused = isFileRefused(path.text(), kIniFileBytes);
    for (const Key& key : keys) {
        if (key.read && !refused) {
            findIniInt(key.section, key.name, path.text(), key.value);
        }
    }
    if (!refused &&
        findIniInts("scene", "sceneIdx", path.text(), m_aiSceneIdx, &m_iIdxNum, kMaxScenes) == 0) {
        // What a longer list of the set-up before said is not left over.
        std::fill(m_aiSceneIdx + m_iIdxNum, std::end(m_aiSceneIdx), 0);
    }
    for (const Key& key : keys) {
        if (key.log) {
            ALOG_INFO("%s-%s: %d", key.section, key.name, *key.value);
        }
    }
    return 0;
}

void TuningSet::readStrengths(int table) {
    const TuningPath path(m_acSensorPath, "param", table, ".ini");
    if (isFileRefused(path.text(), kIniFileBytes)) {
        return;
    }
    readFloatIfThere("colorStrength", path.text(), &m_fColorStrength);
    readFloatIfThere("satStrength", path.text(), &m_fSatStrength);
    readFloatIfThere("claheStrength", path.text(), &m_fClaheStrength);
}

int TuningSet::readHvcParam(int table) {
    readStrengths(table);
    ALOG_INFO("CHuevance_CPU::readHvcParam finished!");  // every engine's words
    return 0;
}

// A file that is missing is no fault: the tables stay as they were.
void TuningSet::readTable(const char* name, int table, float* values, int floats) const {
    const TuningPath path(m_acSensorPath, name, table);
    if (!readFloats(path.text(), values, static_cast<std::size_t>(floats))) {
        isFileRefused(path.text(), UINT64_MAX);  // says so
    }
}

void TuningSet::readCurveFile(int table, float* yCurve) const {
    readTable("curveLut", table, yCurve, kBins8);
}

void TuningSet::readColorFile(int table, float* colorLut) const {
    readTable("colorLut", table, colorLut, kColorLutFloats);
}

int TuningSet::readAllTables(const char* name, float* tables, int floats) const {
    const TuningPath path(m_acSensorPath, name);
    if (!readFloats(path.text(), tables, elementCount(m_iSceneNum, floats))) {
        ALOG_ERROR("%s read failed!", path.text());
        return -1;
    }
    return 0;
}

int TuningSet::readAllCurves(float* curves) const { return readAllTables("CurveLut", curves, kBins8); }

int TuningSet::readAllColors(float* colors) const {
    return readAllTables("ColorLut", colors, kColorLutFloats);
}

int TuningSet::tableOfScene(int scene) const {
    if (scene < 0 || scene >= kMaxScenes || m_aiSceneIdx[scene] < 0 || m_aiSceneIdx[scene] >= m_iSceneNum) {
        ALOG_ERROR("scene %d has no tuning table!", scene);
        return -1;
    }
    return m_aiSceneIdx[scene];
}

std::uint64_t TuningSet::beginSetUp(const RoiInfo& roi) {
    const int values[] = {roi.width,      roi.height,       roi.stride,     roi.scanline,      m_iDataBit,
                          m_iSaveFrame,   m_iSavePhoto,     m_iFrameSwitch, m_iPhotoSwitch,    m_iClaheSwitch,
                          m_iCurveSwitch, m_iColorSwitch,   m_iCCorrSwitch, m_iGridWidth,      m_iGridHeight,
                          m_iSampRate,    m_iTransFrameNum, m_iMaskSource,  m_iPProtectSwitch, m_iSceneNum};
    // FNV-1a.
    std::uint64_t hash = 0xcbf29ce484222325ULL;
    const auto add = [&hash](const auto& field) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(&field);
        for (std::size_t i = 0; i < sizeof(field); ++i) {
            hash = (hash ^ bytes[i]) * 0x100000001b3ULL;
        }
    };
    add(values);
    add(m_aiSceneIdx);
    for (const char* c = m_acSensorPath; *c != '\0'; ++c) {
        add(*c);
    }
    return m_setUp = hash != 0 ? hash : 1;
}

int TuningSet::checkSetUp(std::uint64_t setUp) const {
    if (setUp != m_setUp) {
        ALOG_ERROR("another handle has set this mode up: frames of this one cannot be processed!");
        return -1;
    }
    return 0;
}

StageSwitches TuningSet::switches() const {
    return {m_iClaheSwitch == 1, m_iCurveSwitch == 1, m_iCCorrSwitch == 1, m_iColorSwitch == 1,
            m_iPProtectSwitch == 1};
}

}  // namespace huevance
