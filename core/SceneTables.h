// The tuning tables of every scene, loaded once for a preview stream, and their fusion: for transFrameNum
// frames after a change of scene the strengths and tables fade linearly from the previous scene table to the
// current one.
#pragma once

#include "core/Buffer.h"
#include "core/TuningSet.h"

namespace huevance {

// Weight of the previous table, frame `counter` (0, 1, ...) after the change. Reaches 0 at counter =
// transFrameNum - 1, and on purpose -1 / transFrameNum one frame later. 0 when transFrameNum is below 1.
float fusionWeight(int transFrameNum, int counter);

// The fade of one stream: which tables are involved and how far it is.
class SceneFade {
public:
    // The table of the coming frame. A previous table that does not exist (the initial one, when there is a
    // single scene) and a transFrameNum below 1 mean: no fading.
    void begin(int table, int sceneNum, int transFrameNum);
    // After the frame: counts, and ends the fade when the counter has reached transFrameNum. The counter thus
    // runs one frame longer than the fade needs, on purpose. A return to the previous table in mid-fade keeps
    // the counter.
    void end(int transFrameNum);

    int previous() const { return m_iPrevious; }
    int current() const { return m_iCurrent; }
    int counter() const { return m_iCounter; }

private:
    int m_iPrevious = 1;
    int m_iCurrent = 1;
    int m_iCounter = 0;
};

class SceneTables {
public:
    // Each loads the tables 0 .. sceneNum - 1. 0, or -1 with one error line when sceneNum is below 1 or
    // absurd, or memory is missing.
    int loadStrengths(TuningSet& tuning);
    int loadCurves(const TuningSet& tuning);
    int loadColors(const TuningSet& tuning);
    // The same from the files that hold the tables of all scenes; -1, too, when there is no such file.
    int loadCurvesOfOneFile(const TuningSet& tuning);
    int loadColorsOfOneFile(const TuningSet& tuning);

    void freeStrengths() { m_strengths.release(); }
    void freeCurves() { m_curves.release(); }
    void freeColors() { m_colors.release(); }

    bool hasStrengths(int sceneNum) const { return holds(m_strengths, sceneNum, 3); }
    bool hasCurves(int sceneNum) const;
    bool hasColors(int sceneNum) const;

    // The blend of table p (weight by T = transFrameNum and k, the frames since the change) and table q; p ==
    // q copies. Both indices must be below the sceneNum of the load.
    void fuseStrengths(int p, int q, int k, TuningSet& tuning) const;
    void fuseCurve(int p, int q, int k, int transFrameNum, float* yCurve) const;    // 256 floats
    void fuseColor(int p, int q, int k, int transFrameNum, float* colorLut) const;  // kColorLutFloats floats

private:
    static bool holds(const Buffer<float>& tables, int sceneNum, int floats) {
        return !tables.empty() && tables.size() == elementCount(sceneNum, floats);
    }

    Buffer<float> m_strengths;  // colorStrength, satStrength, claheStrength for each table
    Buffer<float> m_curves;
    Buffer<float> m_colors;
};

}  // namespace huevance
