#include "neon/Huevance_NEON.h"

#include "jni/algocommon/LogPrintf.h"

int CHuevance_NEON::fusedCaptureMalloc() {
    if (m_fused.allocate(*this) != 0) {
        ALOG_ERROR("%s cannot be allocated!", "capture tables");
        return -1;
    }
    return 0;
}

int CHuevance_NEON::fusedCapture() {
    m_fused.run(*this);
    return 0;
}
