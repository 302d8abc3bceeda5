// The engine of the back ends that run on the host's processor: tuning, working buffers, and one operation
// per stage. A back end is this engine with the kernels that it begins with, or is handed. One object serves
// all handles of its mode; nothing is locked.
//
// Stage operations return 0. They work on the frame given to setDstYuv with the buffers of the *Malloc
// operations, which return -1 with one error line when memory is missing.
#pragma once

#include "core/Buffer.h"
#include "core/ColorLut.h"
#include "core/Geometry.h"
#include "core/HostKernels.h"
#include "core/SceneTables.h"
#include "core/TuningSet.h"

namespace huevance {

class HostEngine : public TuningSet {
public:
    enum class Use { kCaptures, kPreviews };

    HostEngine(Use use, const HostKernels& kernels) : m_use(use) { useKernels(kernels); }
    HostEngine(const HostEngine&) = delete;
    HostEngine& operator=(const HostEngine&) = delete;

    // --- Set-up ---

    // Calculates with these from now on. Call it before the *Malloc operations: what a walk over frames had
    // allocated goes.
    void useKernels(const HostKernels& kernels);
    // Keeps the geometry of the frames and derives the tiles; call it after the tuning was read. -1 with one
    // error line when the bit depth is none of 8 and 10 to 16, or the geometry overflows.
    int setRoiInfo(RoiInfo roi);
    // All steps of a capture's set-up, in order, each only after the one before succeeded: setSensorPath,
    // readPhotoSet, setRoiInfo, and the five buffers of a capture, whatever the switches say. -1 releases the
    // buffers again. captureFree also forgets the host's mask.
    int captureMalloc(const char* directory, RoiInfo roi);
    void captureFree();
    int portraitMaskMalloc();
    int backUpYuvMalloc();
    int claheLutMalloc();
    int curveLutMalloc();
    int colorLutMalloc();
    int portraitLutMalloc();  // called by no pipeline
    // After the others. Without a walk in one pass there is nothing to allocate.
    int onePassMalloc();
    int sceneHvcParamMalloc();
    int sceneCurveLutMalloc();
    int sceneColorLutMalloc();
    void portraitMaskFree();
    void forgetHostMask();
    void backUpYuvFree();
    void claheLutFree();
    void curveLutFree();
    void colorLutFree();
    void portraitLutFree();
    void onePassFree();
    void sceneHvcParamFree() { m_scenes.freeStrengths(); }
    void sceneCurveLutFree() { m_scenes.freeCurves(); }
    void sceneColorLutFree() { m_scenes.freeColors(); }

    // Portrait mask of the host, while maskSource is 1: "portraitMaskRoiInfo" (a RoiInfo, copied) and
    // "portraitMaskPointer" (the mask, not copied). Other keys, and every key at other mask sources, are
    // ignored.
    int setExtParam(const char* key, void* value);

    // --- Checks before a frame is touched: 0, or -1 with one error line ---

    int checkFrame(const void* frame) const;  // null, or a geometry that cannot hold the frame
    int checkCapture() const;   // buffers of a capture are missing, or made for another depth or size
    int checkPreview() const;   // the same for the stages of a preview stream
    int checkHostMask() const;  // the host's mask does not cover the frame
    // The mask that the tuning asks for is missing or unusable. The two lines about a missing mask begin with
    // `who`.
    int checkMask(const char* who) const;

    // --- One frame ---

    int setYuvType(IMAGE_FORMAT_TYPE type);
    int setDstYuv(void* frame);  // 16 bits, format 10: shifts high-aligned samples down, in place
    int getDstYuv(void* frame);  // and back up
    // A capture's first steps: the scene's table and its strengths, the checks, then the frame. The table's
    // number, or -1 with one error line and the frame as it was. `who` as for checkMask.
    int beginCapture(const char* who, void* frame, IMAGE_FORMAT_TYPE type, int scene);
    // What the stages look back at: the skin mask and the backup, as far as the tuning asks for them.
    void keepInput();
    int readCurveLut(int table);
    int readColorLut(int table);
    int fuseHvcParam(int previous, int current, int counter);
    int fuseCurveLut(int previous, int current, int counter);
    int fuseColorLut(int previous, int current, int counter);
    int sdYuvBackup();
    int setClaheLut();  // a grid that the frame cannot be divided into is one error line; claheMap then does
                        // nothing
    int claheMap();
    int curveMap();
    int colorCorrect();
    int colorMap();
    int setSkinColor();
    int setPortraitLut();  // called by no pipeline
    int portraitProtect();
    // The tables of a stage for one scene table: setClaheLut, readCurveLut, readColorLut, or nothing.
    int prepareStage(Stage stage, int table);
    // The stage itself.
    int runStage(Stage stage);
    // The same as runOnePass() reads them: a 16-bit frame then needs no 8-bit copy and no wide CLAHE tables.
    int prepareOnePass(Stage stage, int table);
    // Whether the frame can pass all stages that are on at once, which gives the same bytes; and that pass,
    // after the tables of those stages were made.
    bool canRunOnePass() const { return m_onePass != nullptr && m_onePass->usable(*this); }
    int runOnePass();
    int portraitLightUp();  // on purpose does nothing: no kernel lights portraits up

    // The stages that are on and that frames of this engine pass.
    StageSwitches stages() const { return m_use == Use::kPreviews ? previewStages(switches()) : switches(); }
    // Whether claheMap has tables to map with: the last setClaheLut succeeded on a grid that fits the frame.
    bool claheUsable() const { return m_bClaheUsable; }
    bool is16Bit() const { return m_iDataBit != 8; }
    // Levels of 16-bit samples; 0 for an unsupported depth.
    int bins16() const { return isDepthSupported() ? 1 << m_iDataBit : 0; }
    // The geometry of the host's frames.
    const RoiInfo& frameRoi() const { return is16Bit() ? m_stRoi16 : m_stRoi8; }

    KernelTable m_kernels = {};
    RoiInfo m_stRoi8 = {};
    RoiInfo m_stRoi16 = {};
    TileGeometry m_stTile = {};
    SceneTables m_scenes;
    Buffer<float> m_gridHist;    // tiles x 256
    Buffer<float> m_gridLut;     // tiles x 256
    Buffer<float> m_yCurve;      // 256
    Buffer<float> m_uvCurve;     // 256
    Buffer<float> m_colorLut;    // kColorLutFloats
    Buffer<float> m_gridLut16;   // tiles x 2^dataBit
    Buffer<float> m_yCurve16;    // 2^dataBit
    Buffer<float> m_uvCurve16;   // 2^dataBit
    Buffer<float> m_colorLut16;  // kColorLutFloats
    IMAGE_FORMAT_TYPE m_eYuvType = {};
    unsigned char* m_pucImage8 = nullptr;    // the frame, or the working copy of a 16-bit frame
    unsigned short* m_pusImage16 = nullptr;  // the frame
    Buffer<unsigned char> m_workingCopy;     // 8-bit copy of a 16-bit frame
    Buffer<unsigned char> m_backup;  // the input as it was before the stages, in the frame's own depth
    RoiInfo m_stMaskRoi = {};
    float* m_pfMask = nullptr;  // the host's
    RoiInfo m_stSkinMaskRoi = {};
    Buffer<float> m_skinMask;
    Buffer<float> m_portraitHist;   // 256
    Buffer<float> m_portraitLut;    // 256
    Buffer<float> m_portraitLut16;  // 2^dataBit

protected:
    ~HostEngine() = default;

private:
    // The two ends of setClaheLut. beginClaheLut: false with one error line when the frame cannot be divided.
    // endClaheLut: keeps whether there are tables; `result` is that of the computation, -1 with one error line.
    bool beginClaheLut();
    int endClaheLut(int result);
    unsigned char* backup8() { return m_backup.get(); }
    unsigned short* backup16() { return reinterpret_cast<unsigned short*>(m_backup.get()); }
    bool isDepthSupported() const { return m_iDataBit == 8 || (m_iDataBit >= 10 && m_iDataBit <= 16); }
    bool isClaheReady() const;
    bool isWorkingCopyReady() const;
    bool isCurveReady() const;
    bool isColorReady() const;
    void narrowToWorkingCopy();
    void widenCurves();
    void widenColors();

    const Use m_use;
    std::unique_ptr<OnePass> m_onePass;
    bool m_bClaheUsable = false;
};

}  // namespace huevance
