#include "cpu/PipelineSteps.h"

#include "core/FrameDump.h"
#include "jni/algocommon/LogPrintf.h"

namespace cpu {

void logStrengths(const CHuevance_CPU& engine) {
    ALOG_INFO("colorStrength: %f", static_cast<double>(engine.m_fColorStrength));
    ALOG_INFO("satStrength: %f", static_cast<double>(engine.m_fSatStrength));
    ALOG_INFO("claheStrength: %f", static_cast<double>(engine.m_fClaheStrength));
}

void dumpFrame(const void* frame, const RoiInfo& roi, const char* failure) {
    const char name[512] = {};
    if (!huevance::dumpFrame(name, frame, roi)) {
        ALOG_ERROR("%s", failure);
    }
}

}  // namespace cpu
