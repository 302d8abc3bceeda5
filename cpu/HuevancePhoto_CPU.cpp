#include "cpu/HuevancePhoto_CPU.h"

#include <cstdio>

#include "core/RequestLog.h"
#include "cpu/PipelineSteps.h"

using huevance::Stage;

namespace {

CHuevance_CPU g_photoEngine(CHuevance_CPU::Use::kCaptures);

// A capture's dump is always measured in the 16-bit geometry: the test for 8-bit data compares with 256, on
// purpose.
const RoiInfo& dumpRoi(const CHuevance_CPU& engine) {
    return engine.m_iDataBit == 256 ? engine.m_stRoi8 : engine.m_stRoi16;
}

int enhance(CHuevance_CPU& engine, void* yuv, IMAGE_FORMAT_TYPE type, int scene) {
    const int table = engine.beginCapture("", yuv, type, scene);
    if (table < 0) {
        return -1;
    }
    engine.keepInput();
    for (const Stage stage : huevance::planCapture(engine.switches())) {
        engine.prepareStage(stage, table);
        engine.runStage(stage);
    }
    engine.getDstYuv(yuv);
    cpu::logStrengths(engine);
    return 0;
}

}  // namespace

int CHuevancePhoto_CPU::setDataBit(int dataBit) {
    g_photoEngine.m_iDataBit = dataBit;
    return 0;
}

int CHuevancePhoto_CPU::malloc(char* directory, RoiInfo roi) {
    CHuevance_CPU& engine = g_photoEngine;
    m_setUp = engine.forgetSetUp();
    engine.useKernels(*m_pKernels);
    if (engine.captureMalloc(directory, roi) != 0) {
        return -1;
    }
    m_setUp = engine.beginSetUp(roi);
    return 0;
}

int CHuevancePhoto_CPU::setExtParam(char* key, void* value) { return g_photoEngine.setExtParam(key, value); }

int CHuevancePhoto_CPU::process(void* yuv, IMAGE_FORMAT_TYPE type, int scene) {
    CHuevance_CPU& engine = g_photoEngine;
    if (engine.checkSetUp(m_setUp) != 0 || engine.checkFrame(yuv) != 0) {
        return -1;
    }
    huevance::logRequest("", type, scene);
    if (engine.m_iSavePhoto == 1) {
        cpu::dumpFrame(yuv, dumpRoi(engine), "srcPhoto save failed!");
    }
    std::printf("running photo");  // on purpose: without a line feed, and also when the switch is off
    if (engine.m_iPhotoSwitch == 1 && enhance(engine, yuv, type, scene) != 0) {
        return -1;
    }
    if (engine.m_iSavePhoto == 1) {
        cpu::dumpFrame(yuv, dumpRoi(engine), "dstPhoto save failed!");
    }
    return 0;
}

int CHuevancePhoto_CPU::free() {
    g_photoEngine.captureFree();
    return 0;
}
