#include "gpu/HuevanceFrame_GPU.h"

#include <new>

#include "core/FrameDump.h"
#include "core/RequestLog.h"
#include "gpu/Huevance_GPU.h"
#include "jni/algocommon/FileOperation.h"
#include "jni/algocommon/LogPrintf.h"

namespace {

// Never destroyed: at the process's exit the driver may be gone before it. Not on the heap, so that a host
// which unloads the library loses nothing.
alignas(CHuevance_GPU) unsigned char g_engineStorage[sizeof(CHuevance_GPU)];
CHuevance_GPU& g_engine = *new (g_engineStorage) CHuevance_GPU;

// One step of a set-up: runs when all before it succeeded, and logs `message` when it fails.
class Steps {
public:
    template <typename Step>
    Steps& run(bool on, const char* message, Step step) {
        if (m_result == 0 && on) {
            m_result = step();
            if (m_result != 0 && message != nullptr) {
                ALOG_ERROR("%s", message);
            }
        }
        return *this;
    }
    int result() const { return m_result; }

private:
    int m_result = 0;
};

constexpr const char* kWho = "CHuevanceFrame_GPU: ";

void logSettings(const CHuevance_GPU& engine) {
    huevance::logSwitches(kWho, "m_iFrameSwitch", engine.m_iFrameSwitch, engine);
    ALOG_INFO("CHuevanceFrame_GPU: isisDownScale=%d srcWidth=%d srcHeight=%d srcStride=%d scanline=%d\n",
              engine.m_bIsDownScale ? 1 : 0, engine.m_stRoi.width, engine.m_stRoi.height,
              engine.m_stRoi.stride, engine.m_stRoi.scanline);
}

// The four numbers in the name: width, height, scene, and how far a fade is.
void dumpFrame(const char* directory, const char* which, const void* frame, const RoiInfo& roi, int scene,
               int counter, const char* failure) {
    char name[512];
    formatPath(name, sizeof(name), "%s/%sframe_%dx%d_%d_%d.yuv", directory, which, roi.width, roi.height,
               scene, counter);
    if (!huevance::dumpFrame(name, frame, roi)) {
        ALOG_ERROR("%s", failure);
    }
}

// Portrait protection alone does not count, on purpose.
bool anyStageOn(const CHuevance_GPU& engine) {
    return engine.m_iCurveSwitch != 0 || engine.m_iClaheSwitch != 0 || engine.m_iColorSwitch != 0 ||
           engine.m_iCCorrSwitch != 0;
}

// Whether the stream can protect portraits as its tuning asks.
int checkMask(const CHuevance_GPU& engine) {
    if (engine.m_iMaskSource == huevance::kMaskNone && engine.m_iPProtectSwitch == 1) {
        ALOG_ERROR("CHuevanceFrame_GPU: mask source is 0, but portrait protect switch is 1!");
        return -1;
    }
    if (engine.m_iMaskSource == huevance::kMaskHost && engine.m_portraitMask.empty()) {
        ALOG_ERROR("CHuevanceFrame_GPU: portrait mask pointer is NULL!");
        return -1;
    }
    return 0;
}

}  // namespace

int CHuevanceFrame_GPU::setCachePath(char* path) { return g_engine.setCachePath(path); }

int CHuevanceFrame_GPU::setDataBit(int bits) {
    g_engine.m_iDataBit = bits;
    return 0;
}

// The messages are kept as they are, two of which name another step, on purpose.
int CHuevanceFrame_GPU::allocate() {
    CHuevance_GPU& engine = g_engine;
    const huevance::StageSwitches on = engine.switches();
    // The tables that the first frame fades from; where there are none, those that it starts with.
    const int start = m_fade.previous() < engine.m_iSceneNum ? m_fade.previous() : 0;
    return Steps()
        .run(true, "clResMalloc failed!", [&] { return engine.clResMalloc(); })
        .run(true, "clQueueMalloc failed!", [&] { return engine.clQueueMalloc(); })
        .run(true, "sceneHvcParamMalloc failed!", [&] { return engine.sceneHvcParamMalloc(); })
        .run(true, nullptr, [&] { return engine.portraitMaskMalloc(); })
        .run(on.clahe, "sceneCurveLutMalloc failed!", [&] { return engine.claheLutMalloc(); })
        .run(on.curve, "sceneCurveLutMalloc failed!", [&] { return engine.sceneCurveLutMalloc(); })
        .run(on.curve, "curveLutMalloc failed!", [&] { return engine.curveLutMalloc(start); })
        .run(on.colorMap, "sceneColorLutMalloc failed!", [&] { return engine.sceneColorLutMalloc(); })
        .run(on.colorMap, "colorLutMalloc failed!", [&] { return engine.colorLutMalloc(start); })
        .run(true, "colorLutMalloc failed!", [&] { return engine.sdYuvMalloc(); })
        .result();
}

int CHuevanceFrame_GPU::malloc(char* sensorPath, RoiInfo roi) {
    CHuevance_GPU& engine = g_engine;
    engine.releaseAll();  // what an earlier stream may have left
    m_setUp = engine.forgetSetUp();
    if (engine.setSensorPath(sensorPath) != 0 || engine.readFrameSet() != 0) {
        ALOG_ERROR("GPU malloc: readFrameSet failed!");
        return -1;
    }
    engine.setSrcRoiInfo(roi);
    if (engine.m_bIsDownScale) {
        roi = {roi.width / 2, roi.height / 2, roi.stride / 2, roi.scanline / 2};
    }
    engine.setRoiInfo(roi);
    if (engine.m_iFrameSwitch != 1) {
        m_setUp = engine.beginSetUp(roi);
        return 0;
    }
    if (engine.m_iDataBit != 8) {
        ALOG_ERROR("dataBit %d is not supported!", engine.m_iDataBit);
        return -1;
    }
    try {
        if (allocate() == 0) {
            engine.warmUp();
            m_setUp = engine.beginSetUp(roi);
            return 0;
        }
    } catch (...) {  // memory is missing; dispatch says so
        engine.releaseAll();
        throw;
    }
    engine.releaseAll();
    return -1;
}

int CHuevanceFrame_GPU::setExtParam(char* key, void* value) {
    g_engine.setExtParam(key, value);
    return 0;
}

void CHuevanceFrame_GPU::runStages(void* frame) {
    CHuevance_GPU& engine = g_engine;
    const bool fading = m_fade.previous() != m_fade.current();
    for (const huevance::Stage stage : huevance::planCapture(engine.switches())) {
        switch (stage) {
            case huevance::Stage::kClahe:
                engine.setClaheLut(frame);
                engine.claheMap();
                break;
            case huevance::Stage::kCurve:
                // On purpose only while fading: afterwards the last fused table stays.
                if (fading) {
                    engine.fuseCurveLut(m_fade.previous(), m_fade.current(), m_fade.counter());
                }
                engine.curveMap();
                break;
            case huevance::Stage::kColorCorrect:
                engine.colorCorrect();
                break;
            case huevance::Stage::kColorMap:
                if (fading) {
                    engine.fuseColorLut(m_fade.previous(), m_fade.current(), m_fade.counter());
                }
                engine.colorMap();
                break;
            case huevance::Stage::kPortraitProtect:
                engine.portraitProtect(engine.m_iMaskSource);
                break;
        }
    }
}

int CHuevanceFrame_GPU::enhance(void* frame, int fd, IMAGE_FORMAT_TYPE yuvType, int scene) {
    CHuevance_GPU& engine = g_engine;
    const int table = engine.tableOfScene(scene);
    if (table < 0 || engine.checkPreview() != 0) {
        return -1;
    }
    engine.setYuvType(yuvType);
    engine.setDstYuv(frame, fd);
    const int before = m_fade.previous();
    m_fade.begin(table, engine.m_iSceneNum, engine.m_iTransFrameNum);
    engine.fuseHvcParam(m_fade.previous(), table, m_fade.counter());
    if (m_fade.previous() != before) {  // a change of scene without a fade
        if (engine.switches().curve) {
            engine.fuseCurveLut(table, table, 0);
        }
        if (engine.switches().colorMap) {
            engine.fuseColorLut(table, table, 0);
        }
    }
    if (checkMask(engine) != 0) {
        return -1;  // on purpose with the frame still wrapped: the next one or free() takes its place
    }
    runStages(frame);
    engine.getDstYuv(frame);
    m_fade.end(engine.m_iTransFrameNum);
    return 0;
}

int CHuevanceFrame_GPU::process(void* frame, int fd, IMAGE_FORMAT_TYPE yuvType, int scene) {
    CHuevance_GPU& engine = g_engine;
    if (engine.checkSetUp(m_setUp) != 0) {
        return -1;
    }
    huevance::logRequest(kWho, yuvType, scene);
    const bool save = engine.m_iSaveFrame == 1;
    const bool enhances = engine.m_iFrameSwitch == 1 && anyStageOn(engine);
    if ((save || enhances) && engine.checkFrame(frame) != 0) {
        return -1;
    }
    const int counter = m_fade.counter();  // of this frame, in both names
    if (save && m_iDumpCounter == 0) {
        dumpFrame(m_pcDumpDirectory, "src", frame, engine.m_stRoi, scene, counter, "srcFrame save failed!");
    }
    logSettings(engine);
    if (engine.m_iFrameSwitch == 1) {
        if (!anyStageOn(engine)) {
            ALOG_INFO("all the switches are set 0, do nothing and return.");
            return 0;
        }
        if (enhance(frame, fd, yuvType, scene) != 0) {
            return -1;
        }
    }
    if (save) {
        if (m_iDumpCounter == 0) {
            dumpFrame(m_pcDumpDirectory, "dst", frame, engine.m_stRoi, scene, counter,
                      "dstFrame save failed!");
        }
        m_iDumpCounter = m_iDumpCounter == m_iDumpInterval ? 0 : m_iDumpCounter + 1;
    }
    return 0;
}

int CHuevanceFrame_GPU::free() {
    if (g_engine.m_iFrameSwitch == 1) {
        g_engine.releaseAll();
    }
    return 0;
}
