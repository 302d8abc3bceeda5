#include "core/TuningSet.h"

#include <cmath>
#include <cstring>

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
    for (const Key& key : keys) {
        if (key.read) {
            findIniInt(key.section, key.name, path.text(), key.value);
        }
    }
    findIniInts("scene", "sceneIdx", path.text(), m_aiSceneIdx, &m_iIdxNum, kMaxScenes);
    for (const Key& key : keys) {
        if (key.log) {
            ALOG_INFO("%s-%s: %d", key.section, key.name, *key.value);
        }
    }
    return 0;
}

void TuningSet::readStrengths(int table) {
    const TuningPath path(m_acSensorPath, "param", table, ".ini");
    readFloatIfThere("colorStrength", path.text(), &m_fColorStrength);
    readFloatIfThere("satStrength", path.text(), &m_fSatStrength);
    readFloatIfThere("claheStrength", path.text(), &m_fClaheStrength);
}

int TuningSet::readHvcParam(int table) {
    readStrengths(table);
    ALOG_INFO("CHuevance_CPU::readHvcParam finished!");  // every engine's words
    return 0;
}

void TuningSet::readCurveFile(int table, float* yCurve) const {
    readFloats(TuningPath(m_acSensorPath, "curveLut", table).text(), yCurve, kBins8);
}

void TuningSet::readColorFile(int table, float* colorLut) const {
    readFloats(TuningPath(m_acSensorPath, "colorLut", table).text(), colorLut, kColorLutFloats);
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
    if (scene < 0 || scene >= m_iIdxNum || scene >= kMaxScenes || m_aiSceneIdx[scene] < 0 ||
        m_aiSceneIdx[scene] >= m_iSceneNum) {
        ALOG_ERROR("scene %d has no tuning table!", scene);
        return -1;
    }
    return m_aiSceneIdx[scene];
}

StageSwitches TuningSet::switches() const {
    return {m_iClaheSwitch == 1, m_iCurveSwitch == 1, m_iCCorrSwitch == 1, m_iColorSwitch == 1,
            m_iPProtectSwitch == 1};
}

}  // namespace huevance
