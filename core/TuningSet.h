// The tuning values of an engine and their readers. Files, sections, keys, units and defaults:
// docs/tuning.md.
//
// Reads that fail are silent: a missing file or key leaves its field as it was, and numbers that are not
// finite count as 0. Every reader therefore returns 0.
#pragma once

#include <cstdint>

#include "core/Stages.h"
#include "jni/algocommon/ImageTypes.h"

namespace huevance {

// Host scene numbers that a tuning set can map.
inline constexpr int kMaxScenes = 512;

// maskSource
enum : int { kMaskNone = 0, kMaskHost = 1, kMaskSkin = 2 };

class TuningSet {
public:
    // Logs and keeps the tuning directory, at most 511 characters (longer is fatal). -1 for null.
    int setSensorPath(const char* path);

    int readPhotoSet();  // photoSet.ini
    int readFrameSet();  // frameSet.ini

    // The strengths of one scene table, into the values in force.
    int readHvcParam(int table);
    // The same without the log line of a capture.
    void readStrengths(int table);

    // The raw files of one scene table; entries that the file does not hold stay as they were.
    void readCurveFile(int table, float* yCurve) const;    // 256 floats
    void readColorFile(int table, float* colorLut) const;  // kColorLutFloats floats

    // The raw files that hold the tables 0 .. sceneNum - 1 of all scenes back to back. -1 with one error line
    // when the file cannot be opened.
    int readAllCurves(float* curves) const;
    int readAllColors(float* colors) const;

    // The table index of a host scene number, or -1 with one error line: for numbers outside 0 .. 511, and
    // for entries that name no table. A number that the tuning does not list has table 0.
    int tableOfScene(int scene) const;

    StageSwitches switches() const;

    // --- Whose set-up is in force: the engines are shared by all handles of their mode ---

    // From here on, that of a handle with these frames; the number stands for its geometry, its depth, its
    // directory and the values that were read from there. Never 0.
    std::uint64_t beginSetUp(const RoiInfo& roi);
    // From here on, nobody's.
    std::uint64_t forgetSetUp() { return m_setUp = 0; }
    // 0, or -1 with one error line when another set-up than the numbered one is in force.
    int checkSetUp(std::uint64_t setUp) const;

    char m_acSensorPath[512] = {};
    int m_iSaveFrame = 0;
    int m_iSavePhoto = 0;
    int m_iFrameSwitch = 0;
    int m_iPhotoSwitch = 0;
    int m_iClaheSwitch = 0;
    int m_iCurveSwitch = 0;
    int m_iColorSwitch = 0;
    int m_iCCorrSwitch = 0;
    int m_iGridWidth = 8;
    int m_iGridHeight = 6;
    int m_iSampRate = 4;
    int m_iDataBit = 8;
    int m_iTransFrameNum = 60;
    int m_iMaskSource = kMaskNone;
    int m_iPProtectSwitch = 0;
    float m_fPortraitLutStrength = 0.2F;  // no key sets it
    int m_iIdxNum = 1;
    int m_iSceneNum = 1;
    int m_aiSceneIdx[kMaxScenes] = {};
    float m_fColorStrength = 0.0F;
    float m_fSatStrength = 0.0F;
    float m_fClaheStrength = 0.0F;

private:
    std::uint64_t m_setUp = 0;

    enum class Mode { kPhoto, kFrame };
    int readSet(Mode mode);
    int readAllTables(const char* name, float* tables, int floats) const;
    void readTable(const char* name, int table, float* values, int floats) const;
};

}  // namespace huevance
