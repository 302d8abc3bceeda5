#include "core/HostEngine.h"

#include <climits>
#include <cstring>

#include "jni/algocommon/LogPrintf.h"

namespace huevance {

namespace {

// Tables of tiles x bins floats beyond this are refused: no sensible grid comes near.
constexpr std::size_t kMaxGridFloats = std::size_t{1} << 28;

int report(bool allocated, const char* what) {
    if (!allocated) {
        ALOG_ERROR("%s cannot be allocated!", what);
    }
    return allocated ? 0 : -1;
}

}  // namespace

void HostEngine::useKernels(const HostKernels& kernels) {
    m_kernels = kernels.table;
    m_onePass = kernels.makeOnePass != nullptr ? kernels.makeOnePass() : nullptr;
}

int HostEngine::setRoiInfo(RoiInfo roi) {
    ALOG_INFO("roiInfo: %d, %d, %d, %d", roi.width, roi.height, roi.stride, roi.scanline);
    m_stRoi8 = m_stRoi16 = {};
    m_stTile = {};
    if (!isDepthSupported()) {
        ALOG_ERROR("dataBit %d is not supported!", m_iDataBit);
        return -1;
    }
    if (roi.width > INT_MAX / 8) {
        ALOG_ERROR("frame width %d is not supported!", roi.width);
        return -1;
    }
    if (is16Bit()) {
        m_stRoi16 = roi;
        m_stRoi8 = workingCopyRoi(roi);
    } else {
        m_stRoi8 = roi;
    }
    m_stTile = tileGeometry(m_stRoi8, m_iGridWidth, m_iGridHeight, m_iSampRate);
    return 0;
}

int HostEngine::captureMalloc(const char* directory, RoiInfo roi) {
    // The engine may still hold what another handle set up, perhaps for another bit depth.
    captureFree();
    if (setSensorPath(directory) != 0) {
        return -1;
    }
    readPhotoSet();
    if (setRoiInfo(roi) != 0 || portraitMaskMalloc() != 0 || backUpYuvMalloc() != 0 ||
        claheLutMalloc() != 0 || curveLutMalloc() != 0 || colorLutMalloc() != 0) {
        captureFree();
        return -1;
    }
    return 0;
}

void HostEngine::captureFree() {
    colorLutFree();
    curveLutFree();
    claheLutFree();
    backUpYuvFree();
    portraitMaskFree();
    // The host may free its mask from here on.
    forgetHostMask();
}

int HostEngine::portraitMaskMalloc() {
    m_stSkinMaskRoi = skinMaskRoi(m_stRoi8);
    const std::size_t cells = elementCount(m_stSkinMaskRoi.stride / 4, m_stSkinMaskRoi.height);
    return report(m_skinMask.allocate(cells), "portrait mask");
}

void HostEngine::portraitMaskFree() { m_skinMask.release(); }

void HostEngine::forgetHostMask() {
    m_pfMask = nullptr;
    m_stMaskRoi = {};
}

int HostEngine::backUpYuvMalloc() {
    return report(m_backup.allocate(frameBytes(frameRoi())), "backup frame");
}

void HostEngine::backUpYuvFree() { m_backup.release(); }

int HostEngine::claheLutMalloc() {
    const std::size_t floats8 = elementCount(m_iGridWidth, m_iGridHeight, kBins8);
    const std::size_t floats16 = is16Bit() ? elementCount(m_iGridWidth, m_iGridHeight, bins16()) : 0;
    const bool allocated = floats8 <= kMaxGridFloats && floats16 <= kMaxGridFloats &&
                           m_gridHist.allocate(floats8) && m_gridLut.allocate(floats8) &&
                           m_gridLut16.allocate(floats16) &&
                           m_workingCopy.allocate(is16Bit() ? frameBytes(m_stRoi8) : 0);
    if (is16Bit()) {
        m_pucImage8 = m_workingCopy.get();
    }
    return report(allocated, "CLAHE tables");
}

void HostEngine::claheLutFree() {
    m_gridHist.release();
    m_gridLut.release();
    m_gridLut16.release();
    m_workingCopy.release();
    m_pucImage8 = nullptr;
}

int HostEngine::curveLutMalloc() {
    const std::size_t floats16 = is16Bit() ? static_cast<std::size_t>(bins16()) : 0;
    return report(m_yCurve.allocate(kBins8) && m_uvCurve.allocate(kBins8) && m_yCurve16.allocate(floats16) &&
                      m_uvCurve16.allocate(floats16),
                  "curve tables");
}

void HostEngine::curveLutFree() {
    m_yCurve.release();
    m_uvCurve.release();
    m_yCurve16.release();
    m_uvCurve16.release();
}

int HostEngine::colorLutMalloc() {
    return report(
        m_colorLut.allocate(kColorLutFloats) && m_colorLut16.allocate(is16Bit() ? kColorLutFloats : 0),
        "colour table");
}

void HostEngine::colorLutFree() {
    m_colorLut.release();
    m_colorLut16.release();
}

int HostEngine::portraitLutMalloc() {
    return report(m_portraitHist.allocate(kBins8) && m_portraitLut.allocate(kBins8) &&
                      m_portraitLut16.allocate(is16Bit() ? static_cast<std::size_t>(bins16()) : 0),
                  "portrait tables");
}

void HostEngine::portraitLutFree() {
    m_portraitHist.release();
    m_portraitLut.release();
    m_portraitLut16.release();
}

int HostEngine::onePassMalloc() {
    return report(m_onePass == nullptr || m_onePass->allocate(*this) == 0,
                  m_use == Use::kPreviews ? "preview tables" : "capture tables");
}

void HostEngine::onePassFree() {
    if (m_onePass != nullptr) {
        m_onePass->release();
    }
}

int HostEngine::sceneHvcParamMalloc() { return m_scenes.loadStrengths(*this); }

int HostEngine::sceneCurveLutMalloc() { return m_scenes.loadCurves(*this); }

int HostEngine::sceneColorLutMalloc() { return m_scenes.loadColors(*this); }

int HostEngine::setExtParam(const char* key, void* value) {
    if (m_iMaskSource != kMaskHost || key == nullptr) {
        return 0;
    }
    if (std::strcmp(key, "portraitMaskRoiInfo") == 0 && value != nullptr) {
        std::memcpy(&m_stMaskRoi, value, sizeof(m_stMaskRoi));
    } else if (std::strcmp(key, "portraitMaskPointer") == 0) {
        m_pfMask = static_cast<float*>(value);
    }
    return 0;
}

int HostEngine::checkFrame(const void* frame) const {
    const int bytesPerSample = is16Bit() ? 2 : 1;
    if (frame == nullptr || reinterpret_cast<std::uintptr_t>(frame) % bytesPerSample != 0) {
        ALOG_ERROR("frame %p cannot be processed!", frame);
        return -1;
    }
    const RoiInfo& roi = frameRoi();
    if (!holdsFrame(roi, bytesPerSample)) {
        ALOG_ERROR("roiInfo %d, %d, %d, %d cannot hold a frame of %d bits!", roi.width, roi.height,
                   roi.stride, roi.scanline, m_iDataBit);
        return -1;
    }
    return 0;
}

// Buffers are asked for their sizes, not only for their existence: the depth may have changed since they were
// made.

bool HostEngine::isClaheReady() const {
    if (m_stTile.tileWidth < 1 || m_stTile.tileHeight < 1) {
        return true;  // the stage will refuse the grid and use no table
    }
    return m_gridHist.size() == elementCount(m_iGridWidth, m_iGridHeight, kBins8) &&
           m_gridLut.size() == m_gridHist.size() &&
           m_gridLut16.size() == elementCount(m_iGridWidth, m_iGridHeight, is16Bit() ? bins16() : 0) &&
           isWorkingCopyReady();
}

bool HostEngine::isWorkingCopyReady() const {
    return !is16Bit() || m_workingCopy.size() == frameBytes(m_stRoi8);
}

bool HostEngine::isCurveReady() const {
    const std::size_t floats16 = is16Bit() ? static_cast<std::size_t>(bins16()) : 0;
    return !m_yCurve.empty() && !m_uvCurve.empty() && m_yCurve16.size() == floats16 &&
           m_uvCurve16.size() == floats16;
}

bool HostEngine::isColorReady() const { return !m_colorLut.empty() && m_colorLut16.empty() == !is16Bit(); }

int HostEngine::checkCapture() const {
    const bool ready = isDepthSupported() && m_backup.size() == frameBytes(frameRoi()) && isClaheReady() &&
                       isWorkingCopyReady() && isCurveReady() && isColorReady();
    if (!ready) {
        ALOG_ERROR("capture is not set up!");
    }
    return ready ? 0 : -1;
}

int HostEngine::checkPreview() const {
    const StageSwitches on = switches();
    const bool ready = isDepthSupported() && m_scenes.hasStrengths(m_iSceneNum) &&
                       (!on.clahe || isClaheReady()) &&
                       (!on.curve || (m_scenes.hasCurves(m_iSceneNum) && isCurveReady())) &&
                       (!on.colorMap || (m_scenes.hasColors(m_iSceneNum) && isColorReady()));
    if (!ready) {
        ALOG_ERROR("preview is not set up!");
    }
    return ready ? 0 : -1;
}

int HostEngine::checkHostMask() const {
    const RoiInfo& roi = frameRoi();
    constexpr int kCell = static_cast<int>(sizeof(float));
    if (m_stMaskRoi.width < roi.width || m_stMaskRoi.height < roi.height ||
        m_stMaskRoi.stride < std::int64_t{kCell} * roi.width || m_stMaskRoi.stride % kCell != 0 ||
        reinterpret_cast<std::uintptr_t>(m_pfMask) % kCell != 0) {
        ALOG_ERROR("portrait mask %d, %d, %d, %d does not cover the frame!", m_stMaskRoi.width,
                   m_stMaskRoi.height, m_stMaskRoi.stride, m_stMaskRoi.scanline);
        return -1;
    }
    return 0;
}

int HostEngine::checkMask(const char* who) const {
    const bool missing = (m_iMaskSource == kMaskSkin && m_skinMask.empty()) ||
                         (m_iMaskSource == kMaskHost && m_pfMask == nullptr);
    if (missing) {
        ALOG_ERROR("%sportrait mask pointer is NULL!", who);
        return -1;
    }
    const bool protect = switches().portraitProtect;
    if (protect && m_iMaskSource == kMaskNone) {
        ALOG_ERROR("%smask source is 0, however portrait protect switch is 1!", who);
        return -1;
    }
    return protect && m_iMaskSource == kMaskHost ? checkHostMask() : 0;
}

int HostEngine::setYuvType(IMAGE_FORMAT_TYPE type) {
    m_eYuvType = type;
    return 0;
}

int HostEngine::setDstYuv(void* frame) {
    if (!is16Bit()) {
        m_pucImage8 = static_cast<unsigned char*>(frame);
        return 0;
    }
    m_pusImage16 = static_cast<unsigned short*>(frame);
    if (m_eYuvType == IMAGE_FORMAT_TYPE_YUV16_HIGH) {
        m_kernels.rightBitShift_16u16u(m_pusImage16, m_stRoi16, m_pusImage16, m_stRoi16, 16 - m_iDataBit);
    }
    return 0;
}

int HostEngine::getDstYuv(void* /*frame*/) {
    if (is16Bit() && m_eYuvType == IMAGE_FORMAT_TYPE_YUV16_HIGH) {
        m_kernels.leftBitShift_16u16u(m_pusImage16, m_stRoi16, m_pusImage16, m_stRoi16, 16 - m_iDataBit);
    }
    return 0;
}

int HostEngine::beginCapture(const char* who, void* frame, IMAGE_FORMAT_TYPE type, int scene) {
    const int table = tableOfScene(scene);
    if (table < 0) {
        return -1;
    }
    setYuvType(type);
    readHvcParam(table);
    // Before setDstYuv, which shifts high-aligned samples in place: a refused frame stays as it was.
    if (checkMask(who) != 0 || checkCapture() != 0) {
        return -1;
    }
    setDstYuv(frame);
    return table;
}

void HostEngine::keepInput() {
    if (m_iMaskSource == kMaskSkin) {
        setSkinColor();
    }
    if (needsBackup(switches())) {
        sdYuvBackup();
    }
}

void HostEngine::widenCurves() {
    if (is16Bit()) {
        resizeCurveLut(m_yCurve.get(), kBins8, m_yCurve16.get(), bins16());
        resizeCurveLut(m_uvCurve.get(), kBins8, m_uvCurve16.get(), bins16());
    }
}

void HostEngine::widenColors() {
    if (is16Bit()) {
        convertColorLut(m_colorLut.get(), kBins8, m_colorLut16.get(), bins16(), kColorLutFloats);
    }
}

int HostEngine::readCurveLut(int table) {
    if (m_yCurve.empty()) {
        return -1;
    }
    readCurveFile(table, m_yCurve.get());
    buildUvCurve(m_fSatStrength, m_uvCurve.get());
    widenCurves();
    return 0;
}

int HostEngine::readColorLut(int table) {
    if (m_colorLut.empty()) {
        return -1;
    }
    readColorFile(table, m_colorLut.get());
    widenColors();
    return 0;
}

int HostEngine::fuseHvcParam(int previous, int current, int counter) {
    m_scenes.fuseStrengths(previous, current, counter, *this);
    return 0;
}

int HostEngine::fuseCurveLut(int previous, int current, int counter) {
    m_scenes.fuseCurve(previous, current, counter, m_iTransFrameNum, m_yCurve.get());
    buildUvCurve(m_fSatStrength, m_uvCurve.get());
    widenCurves();
    return 0;
}

int HostEngine::fuseColorLut(int previous, int current, int counter) {
    m_scenes.fuseColor(previous, current, counter, m_iTransFrameNum, m_colorLut.get());
    widenColors();
    return 0;
}

int HostEngine::sdYuvBackup() {
    const void* frame = is16Bit() ? static_cast<const void*>(m_pusImage16) : m_pucImage8;
    std::memcpy(m_backup.get(), frame, frameBytes(frameRoi()));
    return 0;
}

void HostEngine::narrowToWorkingCopy() {
    m_kernels.rightBitShift_16u8u(m_pusImage16, m_stRoi16, m_pucImage8, m_stRoi8, m_iDataBit - 8);
}

bool HostEngine::beginClaheLut() {
    m_bClaheUsable = m_stTile.tileWidth >= 1 && m_stTile.tileHeight >= 1 && m_iSampRate >= 1;
    if (!m_bClaheUsable) {
        ALOG_ERROR("CLAHE grid %d x %d with sampRate %d does not fit the frame!", m_iGridWidth, m_iGridHeight,
                   m_iSampRate);
    }
    return m_bClaheUsable;
}

int HostEngine::endClaheLut(int result) {
    if (result != 0) {
        ALOG_ERROR("CLAHE tables cannot be computed!");
        m_bClaheUsable = false;
        return -1;
    }
    return 0;
}

int HostEngine::setClaheLut() {
    if (!beginClaheLut()) {
        return 0;
    }
    if (is16Bit()) {
        narrowToWorkingCopy();
    }
    const int result = endClaheLut(m_kernels.computeClaheLut(
        m_pucImage8, m_stRoi8, m_gridHist.get(), m_gridLut.get(), m_iSampRate, m_iGridWidth, m_iGridHeight,
        m_stTile.tileWidth, m_stTile.tileHeight, m_fClaheStrength));
    if (result == 0 && is16Bit()) {
        m_kernels.resizeClaheLut(m_gridLut.get(), kBins8, m_gridLut16.get(), bins16(), m_iGridWidth,
                                 m_iGridHeight);
    }
    return result;
}

int HostEngine::claheMap() {
    if (!m_bClaheUsable) {
        return 0;
    }
    if (is16Bit()) {
        return m_kernels.claheMap_16u(m_pusImage16, m_stRoi16, m_gridLut16.get(), bins16(),
                                      m_stTile.tileWidth, m_stTile.tileHeight, m_iGridWidth, m_iGridHeight);
    }
    return m_kernels.claheMap_8u(m_pucImage8, m_stRoi8, m_gridLut.get(), kBins8, m_stTile.tileWidth,
                                 m_stTile.tileHeight, m_iGridWidth, m_iGridHeight);
}

int HostEngine::curveMap() {
    if (is16Bit()) {
        m_kernels.curveMap_16u(m_pusImage16, m_stRoi16, m_yCurve16.get(), m_uvCurve16.get(), bins16());
    } else {
        m_kernels.curveMap_8u(m_pucImage8, m_stRoi8, m_yCurve.get(), m_uvCurve.get(), kBins8);
    }
    if (!m_backup.empty()) {
        // On purpose: colour correction and portrait protection work from the curve-adjusted chroma. Preview
        // has no backup.
        const RoiInfo& roi = frameRoi();
        const auto* frame = is16Bit() ? reinterpret_cast<const unsigned char*>(m_pusImage16) : m_pucImage8;
        const std::ptrdiff_t offset = chromaOffset(roi);
        std::memcpy(m_backup.get() + offset, frame + offset,
                    frameBytes(roi) - static_cast<std::size_t>(offset));
    }
    return 0;
}

int HostEngine::colorCorrect() {
    if (is16Bit()) {
        return m_kernels.colorCorrect_16u(backup16(), m_stRoi16, m_pusImage16, m_stRoi16, m_eYuvType,
                                          bins16());
    }
    return m_kernels.colorCorrect_8u(backup8(), m_stRoi8, m_pucImage8, m_stRoi8, m_eYuvType, kBins8);
}

int HostEngine::colorMap() {
    if (is16Bit()) {
        return m_kernels.colorMap_16u(m_pusImage16, m_stRoi16, m_eYuvType, bins16(), m_colorLut16.get(),
                                      kLatticeSize, m_fColorStrength);
    }
    return m_kernels.colorMap_8u(m_pucImage8, m_stRoi8, m_eYuvType, kBins8, m_colorLut.get(), kLatticeSize,
                                 m_fColorStrength);
}

int HostEngine::setSkinColor() {
    if (is16Bit()) {
        narrowToWorkingCopy();
    }
    return m_kernels.skinColorDetect(m_pucImage8, m_stRoi8, m_eYuvType, m_skinMask.get(), m_stSkinMaskRoi);
}

int HostEngine::setPortraitLut() {
    const bool host = m_iMaskSource == kMaskHost;
    const float* mask = host ? m_pfMask : m_skinMask.get();
    if (m_portraitLut.empty() || mask == nullptr || (host && checkHostMask() != 0)) {
        return -1;
    }
    if (is16Bit()) {
        narrowToWorkingCopy();
    }
    computePortraitLut(m_pucImage8, m_stRoi8, mask, host ? m_stMaskRoi : m_stSkinMaskRoi,
                       m_portraitHist.get(), m_portraitLut.get(), m_fPortraitLutStrength);
    if (is16Bit()) {
        resizeCurveLut(m_portraitLut.get(), kBins8, m_portraitLut16.get(), bins16());
    }
    return 0;
}

int HostEngine::portraitProtect() {
    if (m_iMaskSource != kMaskHost && m_iMaskSource != kMaskSkin) {
        return 0;
    }
    const bool host = m_iMaskSource == kMaskHost;
    const float* mask = host ? m_pfMask : m_skinMask.get();
    const RoiInfo& maskRoi = host ? m_stMaskRoi : m_stSkinMaskRoi;
    if (is16Bit()) {
        return m_kernels.portraitProtect_16u(backup16(), m_stRoi16, m_pusImage16, m_stRoi16, mask, maskRoi);
    }
    return m_kernels.portraitProtect_8u(backup8(), m_stRoi8, m_pucImage8, m_stRoi8, mask, maskRoi);
}

int HostEngine::prepareStage(Stage stage, int table) {
    switch (stage) {
        case Stage::kClahe:
            return setClaheLut();
        case Stage::kCurve:
            return readCurveLut(table);
        case Stage::kColorMap:
            return readColorLut(table);
        case Stage::kColorCorrect:
        case Stage::kPortraitProtect:
            break;
    }
    return 0;
}

int HostEngine::runStage(Stage stage) {
    switch (stage) {
        case Stage::kClahe:
            return claheMap();
        case Stage::kCurve:
            return curveMap();
        case Stage::kColorCorrect:
            return colorCorrect();
        case Stage::kColorMap:
            return colorMap();
        case Stage::kPortraitProtect:
            return portraitProtect();
    }
    return 0;
}

int HostEngine::prepareOnePass(Stage stage, int table) {
    if (stage != Stage::kClahe || !is16Bit()) {
        return prepareStage(stage, table);
    }
    return beginClaheLut() ? endClaheLut(m_onePass->claheLut(*this)) : 0;
}

int HostEngine::runOnePass() {
    m_onePass->run(*this);
    return 0;
}

int HostEngine::portraitLightUp() { return 0; }

}  // namespace huevance
