#include "core/RequestLog.h"

#include "jni/algocommon/LogPrintf.h"

namespace huevance {

void logRequest(const char* who, IMAGE_FORMAT_TYPE type, int scene) {
    if (type == IMAGE_FORMAT_TYPE_NV12 || type == IMAGE_FORMAT_TYPE_NV21) {
        ALOG_INFO("%syuvType: IMAGE_FORMAT_TYPE_%s", who, type == IMAGE_FORMAT_TYPE_NV12 ? "NV12" : "NV21");
    }
    ALOG_INFO("%sscene: %d", who, scene);
}

void logSwitches(const char* who, const char* name, int value, const TuningSet& tuning) {
    ALOG_INFO("%s%s=%d m_iMaskSource=%d\n", who, name, value, tuning.m_iMaskSource);
    ALOG_INFO("%sm_iPProtectSwitch=%d m_iClaheSwitch=%d\n", who, tuning.m_iPProtectSwitch,
              tuning.m_iClaheSwitch);
    ALOG_INFO("%sm_iCurveSwitch=%d m_iCCorrSwitch=%d m_iColorSwitch=%d\n", who, tuning.m_iCurveSwitch,
              tuning.m_iCCorrSwitch, tuning.m_iColorSwitch);
}

}  // namespace huevance
