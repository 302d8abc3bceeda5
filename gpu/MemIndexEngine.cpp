#include "gpu/MemIndexEngine.h"

namespace gpu {

void huevanceCLMemIndexEngine::initIndex(bool isDownScale, int /*clahe*/, int curve, int /*correct*/,
                                         int color, int protect) {
    m_iFinal = isDownScale ? 3 : 2;
    m_bColorLast = protect != 1;
    m_bCurveLast = m_bCorrectLast = m_bColorLast && color != 1;
    // On purpose without colour correction, which writes only chroma. Where it follows a last luma stage, it
    // finds the processed luma in the final buffer, too, and changes nothing.
    m_bClaheLast = m_bCurveLast && curve != 1;
    resetIndex();
}

void huevanceCLMemIndexEngine::resetIndex() {
    m_iYIn = m_iUvIn = m_iFinal;
    m_iYOut = m_iUvOut = 0;
}

void huevanceCLMemIndexEngine::claheSetIndex() { m_iYOut = m_bClaheLast ? m_iFinal : m_iYOut; }

void huevanceCLMemIndexEngine::claheUpdateIndex() {
    m_iYIn = m_iYOut;
    m_iYOut ^= 1;
}

void huevanceCLMemIndexEngine::curveSetIndex() { m_iYOut = m_bCurveLast ? m_iFinal : m_iYOut; }

void huevanceCLMemIndexEngine::curveUpdateIndex() { claheUpdateIndex(); }

void huevanceCLMemIndexEngine::correctSetIndex() { m_iUvOut = m_bCorrectLast ? m_iFinal : m_iUvOut; }

void huevanceCLMemIndexEngine::correctUpdateIndex() {
    m_iUvIn = m_iUvOut;
    m_iUvOut ^= 1;
}

void huevanceCLMemIndexEngine::colorSetIndex() {
    if (m_bColorLast) {
        m_iYOut = m_iUvOut = m_iFinal;
    }
}

void huevanceCLMemIndexEngine::colorUpdateIndex() {
    m_iYIn = m_iYOut;
    m_iUvIn = m_iUvOut;
}

}  // namespace gpu
