#include "ogl/OglPipeline.h"

#include <android/hardware_buffer.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

#include "core/Sample.h"
#include "jni/algocommon/FileOperation.h"
#include "ogl/ByteTables.h"
#include "ogl/ClaheTable.h"
#include "ogl/GLUtils.h"
#include "ogl/ShaderComposer.h"

namespace {

constexpr int kLevels = huevance::kBins8;
constexpr int kLattice = huevance::kLatticeSize;
constexpr int kMaxMaskSide = 32768;

// Luma in bytes, then U and V side by side in either order. A phone may choose another layout for a format.
bool holdsPairs(const AHardwareBuffer_Planes& planes) {
    const auto* u = static_cast<const unsigned char*>(planes.planes[1].data);
    const auto* v = static_cast<const unsigned char*>(planes.planes[2].data);
    return planes.planeCount == 3 && planes.planes[0].pixelStride == 1 && planes.planes[1].pixelStride == 2 &&
           planes.planes[2].pixelStride == 2 && planes.planes[1].rowStride == planes.planes[2].rowStride &&
           (u == v + 1 || v == u + 1);
}

// Strip order. The frame's first row goes to the buffer's first row.
constexpr float kPositions[] = {-1, -1, 1, -1, -1, 1, 1, 1};
constexpr float kTexcoords[] = {0, 0, 1, 0, 0, 1, 1, 1};

// Whole pairs of a chroma row; an odd width has a last column without chroma.
int pairBytes(const RoiInfo& roi) { return roi.width / 2 * 2; }

void copyRows(const unsigned char* from, std::ptrdiff_t pitch, int bytes, int rows, unsigned char* to) {
    for (int row = 0; row < rows; ++row, from += pitch, to += bytes) {
        std::memcpy(to, from, static_cast<std::size_t>(bytes));
    }
}

// A context for drawing into framebuffers; its own surface is one pixel. Null without memory: then set-up
// fails, while construction cannot.
smart_pointer<GLEngine> makeEngine() { return new (std::nothrow) GLEngine(nullptr, 1, 1); }

smart_pointer<GLTexture2D> grayTexel() { return new GLTexture2D(1, 1, GL_LUMINANCE, GL_LUMINANCE, nullptr); }

}  // namespace

OglPipeline::OglPipeline(const Names& names) : m_names(names), m_engine(makeEngine()) {}

void OglPipeline::logLine(int priority, const char* format, va_list args) const {
    char text[1024];
    std::vsnprintf(text, sizeof(text), format, args);
    __android_log_write(priority, m_names.tag, text);
}

void OglPipeline::logInfo(const char* format, ...) const {
    va_list args;
    va_start(args, format);
    logLine(ANDROID_LOG_INFO, format, args);
    va_end(args);
}

void OglPipeline::logError(const char* format, ...) const {
    va_list args;
    va_start(args, format);
    logLine(ANDROID_LOG_ERROR, format, args);
    va_end(args);
}

int OglPipeline::setDataBit(int dataBit) {
    m_tuning.m_iDataBit = dataBit;
    return 0;
}

int OglPipeline::setSensorPath(const char* path) { return m_tuning.setSensorPath(path); }

int OglPipeline::setRoiInfo(RoiInfo& roi) {
    m_stRoi = roi;
    return 0;
}

// --- Set-up and release ---

int OglPipeline::init(char* path, RoiInfo roi) {
    release(false);
    m_engine = makeEngine();
    if (setSensorPath(path) != 0) {
        return -1;
    }
    setRoiInfo(roi);
    logInfo("[%s] %s path: %s", m_names.name, m_names.loadConfigures, path);
    logInfo("[%s] %s SensorPath: %s", m_names.name, m_names.loadConfigures, m_tuning.m_acSensorPath);
    readConfigures();
    const int strengths = m_scenes.loadStrengths(m_tuning);
    if (!isEnabled()) {
        m_scenes.freeStrengths();
        return 0;
    }
    if (strengths != 0 || setUp() != 0) {
        release(false);
        return -1;
    }
    return 0;
}

int OglPipeline::setUp() {
    const long long tiles = static_cast<long long>(m_tuning.m_iGridWidth) * m_tuning.m_iGridHeight;
    if (tiles > ogl::kMaxTiles) {
        logError("[%s] init error: grid %d x %d has more than %d tiles!!!", m_names.name,
                 m_tuning.m_iGridWidth, m_tuning.m_iGridHeight, ogl::kMaxTiles);
        return -1;
    }
    return allocateBuffers() == 0 && loadTables() == 0 ? createContext() : -1;
}

int OglPipeline::allocateBuffers() {
    using huevance::elementCount;
    const std::size_t scenes = elementCount(m_tuning.m_iSceneNum, 1);
    const std::size_t pixels = elementCount(m_stRoi.width, m_stRoi.height);
    const std::size_t grid = elementCount(m_tuning.m_iGridWidth, m_tuning.m_iGridHeight, kLevels);
    // In this order, up to the first that fails.
    const auto failed = [this](const char* name, bool allocated) {
        if (!allocated) {
            logError("[%s] init error: alloc %s failed!!!", m_names.name, name);
        }
        return !allocated;
    };
    const bool anyFailed = failed("yBuffer", m_yBuffer.allocate(pixels)) ||
                           failed("uvBuffer", m_uvBuffer.allocate(pixels / 2)) ||
                           failed("gridHist", m_gridHist.allocate(grid)) ||
                           failed("claheTmp", m_claheTmp.allocate(grid)) ||
                           // At least one tile's: the table of a grid that does not fit.
                           failed("claheLut", m_claheLut.allocate(std::max<std::size_t>(grid, kLevels))) ||
                           failed("yCurveMaps", m_yCurveMaps.allocate(scenes * ogl::kCurveBytes)) ||
                           failed("yCurveMap", m_yCurveMap.allocate(ogl::kCurveBytes)) ||
                           failed("uvCurveMap", m_uvCurveMap.allocate(ogl::kCurveBytes)) ||
                           failed("colorLuts", m_colorLuts.allocate(scenes * ogl::kColorBytes)) ||
                           failed("colorLut", m_colorLut.allocate(ogl::kColorBytes));
    return anyFailed ? -1 : 0;
}

// A file that is missing leaves its table zero; what a short one does not hold stays zero.
int OglPipeline::loadTables() {
    huevance::Buffer<float> levels;
    for (int table = 0; table < m_tuning.m_iSceneNum; ++table) {
        if (!levels.allocate(ogl::kColorBytes)) {
            logError("[%s] init error: alloc levels failed!!!", m_names.name);
            return -1;
        }
        m_tuning.readColorFile(table, levels.get());
        ogl::interleaveColors(levels.get(),
                              m_colorLuts.get() + static_cast<std::ptrdiff_t>(table) * ogl::kColorBytes);
        std::fill_n(levels.get(), ogl::kCurveBytes, 0.0F);
        m_tuning.readCurveFile(table, levels.get());
        ogl::truncateToBytes(levels.get(), ogl::kCurveBytes,
                             m_yCurveMaps.get() + static_cast<std::ptrdiff_t>(table) * ogl::kCurveBytes);
    }
    return 0;
}

int OglPipeline::createContext() {
    if (m_engine && m_engine->init() == 0) {
        const GLEngineScope current(m_engine.get());
        if (current) {
            if (createObjects() != 0) {
                return -1;
            }
            createOwn();
            return 0;
        }
    }
    // On purpose the preview pipeline's words for both.
    logError("[CHuevanceFrame_OGL] init error: GLEnv init failed!!!");
    return -1;
}

int OglPipeline::createObjects() {
    GLint limits[3] = {};  // some drivers die of more
    GL_CALL(glGetIntegerv, GL_MAX_TEXTURE_SIZE, &limits[0]);
    GL_CALL(glGetIntegerv, GL_MAX_VIEWPORT_DIMS, &limits[1]);
    m_iMaxSide = *std::min_element(std::begin(limits), std::end(limits));
    // A geometry that holds no frame is refused with every frame.
    const bool possible = huevance::holdsFrame(m_stRoi, 1);
    const int width = possible ? m_stRoi.width : 1;
    const int height = possible ? m_stRoi.height : 1;
    if (std::max(width, height) > m_iMaxSide) {
        logError("[%s] init error: frame %d x %d is larger than the device's %d!!!", m_names.name, width,
                 height, m_iMaxSide);
        return -1;
    }
    m_objects.y = new GLTexture2D(width, height, GL_LUMINANCE, GL_LUMINANCE, nullptr);
    m_objects.uv = new GLTexture2D(width / 2, height / 2, GL_LUMINANCE_ALPHA, GL_LUMINANCE_ALPHA, nullptr);
    m_objects.clahemap = grayTexel();
    m_objects.yCurvemap = grayTexel();
    m_objects.uvCurvemap = grayTexel();
    m_objects.colormap = new GLTexture3D(1, 1, 1, GL_RGB, GL_RGB, nullptr);
    m_objects.maskmap = grayTexel();
    m_objects.framebuffer = new GLFramebuffer;
    return 0;
}

int OglPipeline::destroy() {
    release(true);
    return 0;
}

void OglPipeline::release(bool logFailure) {
    {
        const GLEngineScope current(m_engine.get());
        if (!current) {
            if (logFailure) {
                logError("[%s] destroy error: GLEnv init failed!!!", m_names.name);
            }
            // The names below are this context's: they must not reach another that is current. They go with
            // their context.
            if (m_engine) {
                m_engine->stop();
            }
        }
        releaseOwn();
        m_objects = {};
    }
    m_engine = nullptr;
    m_scenes.freeStrengths();
    for (huevance::Buffer<unsigned char>* buffer :
         {&m_yBuffer, &m_uvBuffer, &m_claheLut, &m_yCurveMap, &m_uvCurveMap, &m_colorLut, &m_yCurveMaps,
          &m_colorLuts, &m_maskBytes}) {
        buffer->release();
    }
    m_gridHist.release();
    m_claheTmp.release();
    // The host may free its mask from here on.
    m_pfMask = nullptr;
    m_stMaskRoi = {};
}

// --- The host's mask ---

int OglPipeline::set(char* key, void* value) {
    const GLEngineScope current(m_engine.get());
    if (!current) {
        logError("[%s] set error: GLEnv init failed!!!", m_names.name);
        return -1;
    }
    if (m_tuning.m_iMaskSource != huevance::kMaskHost || key == nullptr) {
        return 0;
    }
    if (std::strcmp(key, "portraitMaskRoiInfo") == 0 && value != nullptr) {
        RoiInfo roi;
        std::memcpy(&roi, value, sizeof(roi));
        return setMaskRoi(roi);
    }
    if (std::strcmp(key, "portraitMaskPointer") == 0) {
        m_pfMask = static_cast<const float*>(value);
    }
    return 0;
}

// A geometry of zeros is a host without a mask. One that no mask can have is forgotten, so that frames are
// refused.
int OglPipeline::setMaskRoi(const RoiInfo& roi) {
    constexpr int kCell = static_cast<int>(sizeof(float));
    m_stMaskRoi = {};
    if (roi.width == 0 && roi.height == 0) {
        return 0;
    }
    const int maxSide = std::min(kMaxMaskSide, m_iMaxSide);
    if (roi.width < 1 || roi.height < 1 || roi.width > maxSide || roi.height > maxSide ||
        roi.stride < roi.width * kCell || roi.stride % kCell != 0 || roi.scanline < roi.height) {
        logError("[%s] set error: portrait mask %d, %d, %d, %d is impossible!!!", m_names.name, roi.width,
                 roi.height, roi.stride, roi.scanline);
        return -1;
    }
    m_stMaskRoi = roi;
    return 0;
}

int OglPipeline::checkMask() const {
    if (m_tuning.m_iPProtectSwitch != 1 || m_tuning.m_iMaskSource != huevance::kMaskHost) {
        return 0;
    }
    if (m_pfMask == nullptr || reinterpret_cast<std::uintptr_t>(m_pfMask) % sizeof(float) != 0) {
        logError("portrait mask pointer is NULL!");
        return -1;
    }
    if (m_stMaskRoi.width == 0) {
        logError("[%s] process error: portrait mask has no geometry!!!", m_names.name);
        return -1;
    }
    return 0;
}

int OglPipeline::uploadMask() {
    const int width = m_stMaskRoi.width;
    const std::size_t cells = huevance::elementCount(width, m_stMaskRoi.height);
    if (m_maskBytes.size() != cells && !m_maskBytes.allocate(cells)) {
        logError("portrait mask cannot be allocated!");
        return -1;
    }
    unsigned char* to = m_maskBytes.get();
    for (int y = 0; y < m_stMaskRoi.height; ++y, to += width) {
        const float* from = huevance::maskPlane(m_pfMask, m_stMaskRoi).row(y);
        ogl::invertMask(from, width, to);
    }
    m_objects.maskmap->set(width, m_stMaskRoi.height, GL_LUMINANCE, GL_LUMINANCE, m_maskBytes.get());
    return 0;
}

// --- One frame ---

int OglPipeline::checkSetUp() const {
    if (!m_scenes.hasStrengths(m_tuning.m_iSceneNum) ||
        m_yBuffer.size() != huevance::elementCount(m_stRoi.width, m_stRoi.height)) {
        logError("[%s] process error: the pipeline is not set up!!!", m_names.name);
        return -1;
    }
    return 0;
}

int OglPipeline::checkFrame(const void* src, void* dst) const {
    if (src == nullptr || dst == nullptr) {
        logError("[%s] process error: src %p dst %p!!!", m_names.name, src, dst);
        return -1;
    }
    if (!huevance::holdsFrame(m_stRoi, 1)) {
        logError("[%s] process error: roiInfo %d, %d, %d, %d cannot hold a frame!!!", m_names.name,
                 m_stRoi.width, m_stRoi.height, m_stRoi.stride, m_stRoi.scanline);
        return -1;
    }
    AHardwareBuffer_Desc desc = {};
    AHardwareBuffer_describe(static_cast<AHardwareBuffer*>(dst), &desc);
    if (desc.width < static_cast<std::uint32_t>(m_stRoi.width) ||
        desc.height < static_cast<std::uint32_t>(m_stRoi.height)) {
        logError("[%s] process error: output %u x %u is smaller than the frame!!!", m_names.name, desc.width,
                 desc.height);
        return -1;
    }
    return 0;
}

void OglPipeline::setStrengths(const huevance::TuningSet& tuning) {
    m_fColorStrength = tuning.m_fColorStrength;
    m_fSatStrength = tuning.m_fSatStrength;
    m_fClaheStrength = tuning.m_fClaheStrength;
}

smart_pointer<HuevanceRender> OglPipeline::createRender(IMAGE_FORMAT_TYPE format) const {
    smart_pointer<HuevanceRender> render(new HuevanceRender);
    const huevance::StageSwitches on = m_tuning.switches();
    render->init(format, m_tuning.m_iMaskSource, on.clahe, on.curve, on.colorCorrect, on.colorMap,
                 on.portraitProtect);
    return render;
}

smart_pointer<GLTexture2DOES> OglPipeline::importBuffer(void* buffer) const {
    const EGLClientBuffer client = eglGetNativeClientBufferANDROID(static_cast<AHardwareBuffer*>(buffer));
    GLUtils::checkEGLError("eglGetNativeClientBufferANDROID");
    smart_pointer<GLTexture2DOES> texture(
        new GLTexture2DOES(client, GL_TEXTURE_EXTERNAL_OES, m_stRoi.width, m_stRoi.height));
    if (!texture->isUsable()) {
        logError("[%s] process error: the output cannot be imported!!!", m_names.name);
        return {};
    }
    return texture;
}

void OglPipeline::copyPlanes(const unsigned char* src) {
    copyRows(src, m_stRoi.stride, m_stRoi.width, m_stRoi.height, m_yBuffer.get());
    copyRows(src + huevance::chromaOffset(m_stRoi), m_stRoi.stride, pairBytes(m_stRoi), m_stRoi.height / 2,
             m_uvBuffer.get());
}

void OglPipeline::updateClahe() {
    const int sampleRate = m_tuning.m_iSampRate;
    const ogl::ClaheGrid grid =
        ogl::claheGrid(m_stRoi.width, m_stRoi.height, m_tuning.m_iGridWidth, m_tuning.m_iGridHeight);
    logInfo(
        "getGridHist width: %d, gridWidth: %d, gridHeight: %d, gridSize: %d, blockWidth: %d, "
        "blockHeight: %d, sampleRate: %d",
        m_stRoi.width, grid.gridWidth, grid.gridHeight, grid.tiles(), grid.blockWidth, grid.blockHeight,
        sampleRate);
    if (grid.blockWidth < 1 || grid.blockHeight < 1 || sampleRate < 1) {
        // Tiles without samples would give numbers that are none, and those any bytes. As in the other back
        // ends such a grid costs the stage, not the picture: every tile keeps luma as it is.
        logError("CLAHE grid %d x %d with sampRate %d does not fit the frame!", grid.gridWidth,
                 grid.gridHeight, sampleRate);
        m_iClaheTiles = std::max(grid.tiles(), 1);
        for (int level = 0; level < kLevels; ++level) {
            std::fill_n(m_claheLut.get() + static_cast<std::ptrdiff_t>(level) * m_iClaheTiles, m_iClaheTiles,
                        static_cast<unsigned char>(level));
        }
        return;
    }
    ogl::getGridHist(m_yBuffer.get(), m_stRoi.width, grid, sampleRate, m_gridHist.get());
    logInfo("gridHist2ClaheLut gridWidth: %d, gridHeight: %d, gridSize: %d, claheStrength: %f",
            grid.gridWidth, grid.gridHeight, grid.tiles(), static_cast<double>(m_fClaheStrength));
    ogl::gridHist2ClaheLut(m_gridHist.get(), grid.tiles(), m_fClaheStrength, m_claheTmp.get());
    ogl::smoothClaheLut(m_claheTmp.get(), grid.gridWidth, grid.gridHeight, m_claheLut.get());
    m_iClaheTiles = grid.tiles();
}

void OglPipeline::uploadClahe() {
    m_objects.clahemap->set(m_iClaheTiles, kLevels, GL_LUMINANCE, GL_LUMINANCE, m_claheLut.get());
}

void OglPipeline::uploadCurves() {
    m_objects.yCurvemap->set(kLevels, 1, GL_LUMINANCE, GL_LUMINANCE, m_yCurveMap.get());
    m_objects.uvCurvemap->set(kLevels, 1, GL_LUMINANCE, GL_LUMINANCE, m_uvCurveMap.get());
}

void OglPipeline::uploadColors() {
    m_objects.colormap->set(kLattice, kLattice, kLattice, GL_RGB, GL_RGB, m_colorLut.get());
}

void OglPipeline::uploadPlanes() {
    m_objects.y->set(m_stRoi.width, m_stRoi.height, GL_LUMINANCE, GL_LUMINANCE, m_yBuffer.get());
    m_objects.uv->set(m_stRoi.width / 2, m_stRoi.height / 2, GL_LUMINANCE_ALPHA, GL_LUMINANCE_ALPHA,
                      m_uvBuffer.get());
}

int OglPipeline::draw(HuevanceRender& render, GLTexture2DOES& output) {
    if (!render.isBuilt()) {  // before the output is cleared
        logError("[%s] process error: there is no shader!!!", m_names.name);
        return -1;
    }
    const huevance::StageSwitches on = m_tuning.switches();
    const bool hostMask = on.portraitProtect && m_tuning.m_iMaskSource == ogl::kMaskTexture;
    if (hostMask && uploadMask() != 0) {
        return -1;
    }
    if (frameFailed()) {
        return -1;  // with the lines of what failed; the output is not cleared
    }
    m_objects.framebuffer->bind(GL_FRAMEBUFFER);
    if (!m_objects.framebuffer->attachTexture(0, output.name(), output.target())) {
        // What would be drawn could go to the output before, which the host has back.
        logError("[%s] process error: the output cannot be attached!!!", m_names.name);
        return -1;
    }
    GL_CALL(glClear, GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    render.setPosVertices(kPositions);
    render.setTexVertices(kTexcoords);
    if (on.clahe) {
        render.setImageSize(m_stRoi.width, m_stRoi.height);
        render.setGridSize(m_tuning.m_iGridWidth, m_tuning.m_iGridHeight);
        render.setClahemap(m_objects.clahemap.get());
    }
    if (on.curve) {
        render.setCurvemap(m_objects.yCurvemap.get(), m_objects.uvCurvemap.get());
    }
    if (on.colorMap) {
        render.setColormap(m_objects.colormap.get(), m_fColorStrength);
    }
    if (hostMask) {
        render.setMaskmap(m_objects.maskmap.get());
    }
    const int result =
        render.process(m_objects.y.get(), m_objects.uv.get(), 0, 0, m_stRoi.width, m_stRoi.height);
    m_bDrawn = GLUtils::flush();
    return result != 0 || frameFailed() ? -1 : 0;
}

// --- Dumps ---

void OglPipeline::dumpFile(const char* name, int first, int second,
                           std::initializer_list<Bytes> pieces) const {
    char path[512];
    formatPath(path, sizeof(path), "%s/%s_%d_%d.yuv", m_pcDumpDirectory, name, first, second);
    if (!saveFile(path, pieces)) {
        logError("[%s] dump error: %s cannot be written!!!", m_names.name, path);
    }
}

void OglPipeline::dumpPlanes(const char* prefix, int first, int second) const {
    char name[64];
    std::snprintf(name, sizeof(name), "%s_%dx%d", prefix, m_stRoi.width, m_stRoi.height);
    dumpFile(name, first, second,
             {{m_yBuffer.get(), m_yBuffer.size()}, {m_uvBuffer.get(), m_uvBuffer.size()}});
}

void OglPipeline::dumpFrame(void* buffer, int first, int second) {
    if (!m_bDrawn) {
        logError("[%s] dump error: the output is read before it is drawn!!!", m_names.name);
    }
    dumpPlanes("srcframe", first, second);
    if (readBack(static_cast<AHardwareBuffer*>(buffer)) == 0) {
        dumpPlanes("dstframe", first, second);
    }
    const auto tiles = static_cast<std::size_t>(
        huevance::elementCount(m_tuning.m_iGridWidth, m_tuning.m_iGridHeight, kLevels));
    dumpFile("gridhist", first, second, {{m_gridHist.get(), tiles * sizeof(float)}});
    dumpFile("clahelut", first, second, {{m_claheLut.get(), tiles}});
    dumpFile("y_curvemap", first, second, {{m_yCurveMap.get(), m_yCurveMap.size()}});
    dumpFile("uv_curvemap", first, second, {{m_uvCurveMap.get(), m_uvCurveMap.size()}});
    dumpFile("colorlut", first, second, {{m_colorLut.get(), m_colorLut.size()}});
}

// The output's planes over the copies of the input's.
int OglPipeline::readBack(AHardwareBuffer* buffer) {
    AHardwareBuffer_Planes planes = {};
    if (AHardwareBuffer_lockPlanes(buffer, AHARDWAREBUFFER_USAGE_CPU_READ_OFTEN, -1, nullptr, &planes) != 0) {
        logError("[%s] dump error: output cannot be read!!!", m_names.name);
        return -1;
    }
    const bool readable = holdsPairs(planes);
    if (readable) {
        const auto* luma = static_cast<const unsigned char*>(planes.planes[0].data);
        const auto* chroma =
            static_cast<const unsigned char*>(std::min(planes.planes[1].data, planes.planes[2].data));
        copyRows(luma, planes.planes[0].rowStride, m_stRoi.width, m_stRoi.height, m_yBuffer.get());
        copyRows(chroma, planes.planes[1].rowStride, pairBytes(m_stRoi), m_stRoi.height / 2,
                 m_uvBuffer.get());
    } else {
        logError("[%s] dump error: output is not in pairs of chroma!!!", m_names.name);
    }
    AHardwareBuffer_unlock(buffer, nullptr);
    return readable ? 0 : -1;
}
