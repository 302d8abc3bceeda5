#include "core/SceneTables.h"

#include <algorithm>

#include "core/ColorLut.h"
#include "core/Geometry.h"
#include "jni/algocommon/LogPrintf.h"

namespace huevance {

namespace {

// Scene tables that a set-up accepts, from 1 on; at most kMaxScenes of them can be reached by a host scene
// number.
constexpr int kMaxSceneTables = 4096;

int allocateTables(Buffer<float>& tables, int sceneNum, int floats) {
    if (sceneNum < 1 || sceneNum > kMaxSceneTables || !tables.allocate(elementCount(sceneNum, floats))) {
        ALOG_ERROR("%d scene tables cannot be allocated!", sceneNum);
        return -1;
    }
    return 0;
}

void fuseTable(const Buffer<float>& tables, int floats, int p, int q, float w, float* out) {
    const float* previous = tables.get() + static_cast<std::ptrdiff_t>(p) * floats;
    const float* current = tables.get() + static_cast<std::ptrdiff_t>(q) * floats;
    if (p == q) {
        std::copy_n(current, floats, out);
        return;
    }
    const float rest = 1.0F - w;
    std::transform(previous, previous + floats, current, out,
                   [w, rest](float before, float after) { return w * before + rest * after; });
}

}  // namespace

float fusionWeight(int transFrameNum, int counter) {
    if (transFrameNum < 1) {
        return 0.0F;
    }
    return static_cast<float>(transFrameNum - 1 - counter) / static_cast<float>(transFrameNum);
}

void SceneFade::begin(int table, int sceneNum, int transFrameNum) {
    m_iCurrent = table;
    if (m_iPrevious < 0 || m_iPrevious >= sceneNum || transFrameNum < 1) {
        m_iPrevious = table;
        m_iCounter = 0;
    }
}

void SceneFade::end(int transFrameNum) {
    if (m_iPrevious == m_iCurrent) {
        return;
    }
    // Not "equals": a later set-up may have shortened the fade.
    if (m_iCounter >= transFrameNum) {
        m_iCounter = 0;
        m_iPrevious = m_iCurrent;
    } else {
        ++m_iCounter;
    }
}

int SceneTables::loadStrengths(TuningSet& tuning) {
    if (allocateTables(m_strengths, tuning.m_iSceneNum, 3) != 0) {
        return -1;
    }
    // Through the values in force: what a table's file does not name is as in the table before it.
    float* record = m_strengths.get();
    for (int table = 0; table < tuning.m_iSceneNum; ++table) {
        tuning.readStrengths(table);
        *record++ = tuning.m_fColorStrength;
        *record++ = tuning.m_fSatStrength;
        *record++ = tuning.m_fClaheStrength;
    }
    return 0;
}

int SceneTables::loadCurves(const TuningSet& tuning) {
    if (allocateTables(m_curves, tuning.m_iSceneNum, kBins8) != 0) {
        return -1;
    }
    for (int table = 0; table < tuning.m_iSceneNum; ++table) {
        tuning.readCurveFile(table, m_curves.get() + static_cast<std::ptrdiff_t>(table) * kBins8);
    }
    return 0;
}

int SceneTables::loadColors(const TuningSet& tuning) {
    if (allocateTables(m_colors, tuning.m_iSceneNum, kColorLutFloats) != 0) {
        return -1;
    }
    for (int table = 0; table < tuning.m_iSceneNum; ++table) {
        tuning.readColorFile(table, m_colors.get() + static_cast<std::ptrdiff_t>(table) * kColorLutFloats);
    }
    return 0;
}

int SceneTables::loadCurvesOfOneFile(const TuningSet& tuning) {
    return allocateTables(m_curves, tuning.m_iSceneNum, kBins8) == 0 ? tuning.readAllCurves(m_curves.get())
                                                                     : -1;
}

int SceneTables::loadColorsOfOneFile(const TuningSet& tuning) {
    return allocateTables(m_colors, tuning.m_iSceneNum, kColorLutFloats) == 0
               ? tuning.readAllColors(m_colors.get())
               : -1;
}

bool SceneTables::hasCurves(int sceneNum) const { return holds(m_curves, sceneNum, kBins8); }

bool SceneTables::hasColors(int sceneNum) const { return holds(m_colors, sceneNum, kColorLutFloats); }

void SceneTables::fuseStrengths(int p, int q, int k, TuningSet& tuning) const {
    float fused[3];
    fuseTable(m_strengths, 3, p, q, fusionWeight(tuning.m_iTransFrameNum, k), fused);
    tuning.m_fColorStrength = fused[0];
    tuning.m_fSatStrength = fused[1];
    tuning.m_fClaheStrength = fused[2];
}

void SceneTables::fuseCurve(int p, int q, int k, int transFrameNum, float* yCurve) const {
    fuseTable(m_curves, kBins8, p, q, fusionWeight(transFrameNum, k), yCurve);
}

void SceneTables::fuseColor(int p, int q, int k, int transFrameNum, float* colorLut) const {
    fuseTable(m_colors, kColorLutFloats, p, q, fusionWeight(transFrameNum, k), colorLut);
}

}  // namespace huevance
