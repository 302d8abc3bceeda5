#include "neon/HuevancePhoto_NEON.h"

#include "core/FrameDump.h"
#include "core/RequestLog.h"
#include "jni/algocommon/FileOperation.h"
#include "jni/algocommon/LogPrintf.h"
#include "neon/Huevance_NEON.h"

using huevance::Stage;

namespace {

CHuevance_NEON g_photoEngine;

constexpr const char* kWho = "CHuevancePhoto_NEON: ";

// Writes the frame to /data/hvcSave/<kind>photo_<width>x<height>_<scene>_<counter>.yuv.
bool dump(const char* kind, const void* frame, const RoiInfo& roi, int scene, int counter) {
    char path[512];
    formatPath(path, sizeof(path), "/data/hvcSave/%sphoto_%dx%d_%d_%d.yuv", kind, roi.width, roi.height,
               scene, counter);
    return huevance::dumpFrame(path, frame, roi);
}

// Whether the tables of a stage could be made: 0, or -1 with one more error line.
int reportTables(Stage stage, int result) {
    if (result == 0) {
        return 0;
    }
    switch (stage) {
        case Stage::kClahe:
            ALOG_ERROR("CHuevancePhoto_NEON: setClaheLut failed");
            break;
        case Stage::kCurve:
            ALOG_ERROR("CHuevancePhoto_NEON: readCurveLut failed!");
            break;
        case Stage::kColorMap:
            ALOG_ERROR("CHuevancePhoto_NEON: readColorLut failed!");
            break;
        case Stage::kColorCorrect:
        case Stage::kPortraitProtect:
            break;  // have no tables
    }
    return -1;
}

// Stage after stage over the whole frame.
int runStages(CHuevance_NEON& engine, int table) {
    engine.keepInput();
    for (const Stage stage : huevance::planCapture(engine.switches())) {
        if (reportTables(stage, engine.prepareStage(stage, table)) != 0) {
            return -1;
        }
        engine.runStage(stage);
    }
    return 0;
}

// All stages in one pass; their tables depend on the input alone.
int runFused(CHuevance_NEON& engine, int table) {
    for (const Stage stage : huevance::planCapture(engine.switches())) {
        if (reportTables(stage, engine.prepareOnePass(stage, table)) != 0) {
            return -1;
        }
    }
    return engine.runOnePass();
}

int enhance(CHuevance_NEON& engine, void* frame, IMAGE_FORMAT_TYPE type, int scene) {
    const int table = engine.beginCapture(kWho, frame, type, scene);
    if (table < 0) {
        return -1;
    }
    const int result = engine.canRunOnePass() ? runFused(engine, table) : runStages(engine, table);
    engine.getDstYuv(frame);
    return result;
}

}  // namespace

int CHuevancePhoto_NEON::setDataBit(int dataBit) {
    g_photoEngine.m_iDataBit = dataBit;
    return 0;
}

int CHuevancePhoto_NEON::malloc(char* directory, RoiInfo roi) {
    CHuevance_NEON& engine = g_photoEngine;
    // The engine may still hold what another handle set up, perhaps for another bit depth.
    free();
    // On purpose no result is looked at: a failed step shows in its own line, and captures are then refused.
    engine.setSensorPath(directory);
    engine.readPhotoSet();
    engine.setRoiInfo(roi);
    engine.portraitMaskMalloc();
    engine.backUpYuvMalloc();
    engine.claheLutMalloc();
    engine.curveLutMalloc();
    engine.colorLutMalloc();
    engine.onePassMalloc();
    m_setUp = engine.beginSetUp(roi);
    return 0;
}

int CHuevancePhoto_NEON::setExtParam(char* key, void* value) { return g_photoEngine.setExtParam(key, value); }

int CHuevancePhoto_NEON::process(void* frame, IMAGE_FORMAT_TYPE yuvType, int scene) {
    CHuevance_NEON& engine = g_photoEngine;
    if (frame == nullptr) {
        ALOG_ERROR("CHuevancePhoto_NEON: input buffer cannot be NULL!");
        return -1;
    }
    // On purpose: other bit depths take every format.
    if (engine.m_iDataBit == 8 && yuvType != IMAGE_FORMAT_TYPE_NV21 && yuvType != IMAGE_FORMAT_TYPE_NV12) {
        ALOG_ERROR("CHuevancePhoto_NEON: only YUV NV12 and NV21 are supported!");
        return -1;
    }
    if (engine.checkSetUp(m_setUp) != 0 || engine.checkFrame(frame) != 0) {
        return -1;
    }
    huevance::logRequest(kWho, yuvType, scene);
    const bool save = engine.m_iSavePhoto == 1;
    const int counter = save ? m_iDumpCounter++ : 0;
    if (save && !dump("src", frame, engine.frameRoi(), scene, counter)) {
        ALOG_ERROR("srcPhoto save failed!");
    }
    huevance::logSwitches(kWho, "m_iPhotoSwitch", engine.m_iPhotoSwitch, engine);
    if (engine.m_iPhotoSwitch == 1 && enhance(engine, frame, yuvType, scene) != 0) {
        return -1;
    }
    if (save && !dump("dst", frame, engine.frameRoi(), scene, counter)) {
        ALOG_ERROR("dstPhoto save failed!");
    }
    return 0;
}

int CHuevancePhoto_NEON::free() {
    g_photoEngine.onePassFree();
    g_photoEngine.captureFree();
    return 0;
}
