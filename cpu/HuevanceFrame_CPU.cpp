#include "cpu/HuevanceFrame_CPU.h"

#include "core/RequestLog.h"
#include "cpu/PipelineSteps.h"

using huevance::Stage;

namespace {

CHuevance_CPU g_frameEngine(CHuevance_CPU::Use::kPreviews);

const RoiInfo& dumpRoi(const CHuevance_CPU& engine) {
    return engine.m_iDataBit == 8 ? engine.m_stRoi8 : engine.m_stRoi16;
}

void releaseAll(CHuevance_CPU& engine) {
    engine.onePassFree();
    engine.sceneColorLutFree();
    engine.colorLutFree();
    engine.sceneCurveLutFree();
    engine.curveLutFree();
    engine.claheLutFree();
    engine.sceneHvcParamFree();
}

int allocate(CHuevance_CPU& engine) {
    const huevance::StageSwitches on = engine.switches();
    const bool done = engine.sceneHvcParamMalloc() == 0 && (!on.clahe || engine.claheLutMalloc() == 0) &&
                      (!on.curve || (engine.sceneCurveLutMalloc() == 0 && engine.curveLutMalloc() == 0)) &&
                      (!on.colorMap || (engine.sceneColorLutMalloc() == 0 && engine.colorLutMalloc() == 0)) &&
                      engine.onePassMalloc() == 0;
    return done ? 0 : -1;
}

}  // namespace

int CHuevanceFrame_CPU::setDataBit(int dataBit) {
    g_frameEngine.m_iDataBit = dataBit;
    return 0;
}

int CHuevanceFrame_CPU::malloc(char* directory, RoiInfo roi) {
    CHuevance_CPU& engine = g_frameEngine;
    // The engine may still hold what another handle set up, perhaps for another bit depth.
    releaseAll(engine);
    engine.useKernels(*m_pKernels);
    m_setUp = engine.forgetSetUp();
    if (engine.setSensorPath(directory) != 0) {
        return -1;
    }
    engine.readFrameSet();
    if (engine.setRoiInfo(roi) != 0 || (engine.m_iFrameSwitch == 1 && allocate(engine) != 0)) {
        releaseAll(engine);
        return -1;
    }
    m_setUp = engine.beginSetUp(roi);
    return 0;
}

int CHuevanceFrame_CPU::setExtParam(char* key, void* value) { return g_frameEngine.setExtParam(key, value); }

int CHuevanceFrame_CPU::enhance(void* yuv, IMAGE_FORMAT_TYPE type, int scene) {
    CHuevance_CPU& engine = g_frameEngine;
    const int table = engine.tableOfScene(scene);
    if (table < 0 || engine.checkPreview() != 0) {
        return -1;
    }
    engine.setYuvType(type);
    engine.setDstYuv(yuv);
    m_fade.begin(table, engine.m_iSceneNum, engine.m_iTransFrameNum);
    const int previous = m_fade.previous();
    const int counter = m_fade.counter();
    engine.fuseHvcParam(previous, table, counter);
    const bool onePass = engine.canRunOnePass();
    for (const Stage stage : huevance::planPreview(engine.switches())) {
        if (stage == Stage::kClahe) {
            engine.setClaheLut();
        } else if (stage == Stage::kCurve) {
            engine.fuseCurveLut(previous, table, counter);
        } else if (stage == Stage::kColorMap) {
            engine.fuseColorLut(previous, table, counter);
        }
        if (!onePass) {
            engine.runStage(stage);
        }
    }
    if (onePass) {
        engine.runOnePass();
    }
    engine.getDstYuv(yuv);
    m_fade.end(engine.m_iTransFrameNum);
    cpu::logStrengths(engine);
    return 0;
}

int CHuevanceFrame_CPU::process(void* yuv, IMAGE_FORMAT_TYPE type, int scene) {
    CHuevance_CPU& engine = g_frameEngine;
    if (engine.checkSetUp(m_setUp) != 0 || engine.checkFrame(yuv) != 0) {
        return -1;
    }
    huevance::logRequest("", type, scene);
    const bool save = engine.m_iSaveFrame == 1;
    if (save && m_iDumpCounter == 0) {
        cpu::dumpFrame(yuv, dumpRoi(engine), "srcFrame save failed!");
    }
    if (engine.m_iFrameSwitch == 1 && enhance(yuv, type, scene) != 0) {
        return -1;
    }
    if (save) {
        if (m_iDumpCounter == 0) {
            cpu::dumpFrame(yuv, dumpRoi(engine), "dstFrame save failed!");
        }
        // On purpose: the counter runs 0 .. period inclusive, so that a dump comes every period + 1 frames.
        m_iDumpCounter = m_iDumpCounter == m_iDumpPeriod ? 0 : m_iDumpCounter + 1;
    }
    return 0;
}

int CHuevanceFrame_CPU::free() {
    if (g_frameEngine.m_iFrameSwitch == 1) {
        releaseAll(g_frameEngine);
    }
    return 0;
}
