#include "ogl/HuevancePhoto_OGL.h"

#include <algorithm>

#include "ogl/ByteTables.h"

CHuevancePhoto_OGL::CHuevancePhoto_OGL()
    : OglPipeline({"CHuevancePhoto_OGL", "Huevance_Capture", "loadPhotoConfigures"}) {}

CHuevancePhoto_OGL::~CHuevancePhoto_OGL() { release(); }

bool CHuevancePhoto_OGL::isEnabled() const { return m_tuning.m_iPhotoSwitch == 1; }

void CHuevancePhoto_OGL::readConfigures() { m_tuning.readPhotoSet(); }

void CHuevancePhoto_OGL::releaseOwn() {
    if (m_render) {
        m_render->destroy();
    }
    m_render = nullptr;
    m_outputTexture = nullptr;
}

int CHuevancePhoto_OGL::process(void* src, void* dst, IMAGE_FORMAT_TYPE format, int scene) {
    if (!isEnabled()) {
        return 0;
    }
    if (format != IMAGE_FORMAT_TYPE_NV21 && format != IMAGE_FORMAT_TYPE_NV12) {
        // The renderer is built once, so that another format's would never draw.
        logError("[CHuevancePhoto_OGL] process error: format %d!!!", static_cast<int>(format));
        return -1;
    }
    const int table = m_tuning.tableOfScene(scene);
    if (table < 0 || checkSetUp() != 0 || checkFrame(src, dst) != 0 || checkMask() != 0) {
        return -1;
    }
    m_scenes.fuseStrengths(table, table, 0, m_tuning);
    setStrengths(m_tuning);
    logInfo("[CHuevancePhoto_OGL] fColorStrength: %f, fSatStrength: %f, fClaheStrength: %f",
            static_cast<double>(m_fColorStrength), static_cast<double>(m_fSatStrength),
            static_cast<double>(m_fClaheStrength));
    const GLEngineScope current(m_engine.get());
    if (!current) {
        logError("[CHuevancePhoto_OGL] process error: GLEnv init failed!!!");
        return -1;
    }
    if (drawCapture(dst, format, src, table) != 0) {
        return -1;
    }
    if (m_tuning.m_iSavePhoto == 1) {
        dumpFrame(dst, scene, m_iCaptures++);
    }
    return 0;
}

int CHuevancePhoto_OGL::drawCapture(void* dst, IMAGE_FORMAT_TYPE format, const void* src, int table) {
    beginFrame();
    if (!m_render) {
        // On purpose for the life of the pipeline: captures in the other chroma order are drawn in this one.
        m_render = createRender(format);
    }
    m_outputTexture = importBuffer(dst);
    if (!m_outputTexture) {
        return -1;
    }
    copyPlanes(static_cast<const unsigned char*>(src));
    const huevance::StageSwitches on = m_tuning.switches();
    if (on.clahe) {
        updateClahe();
        uploadClahe();
    }
    if (on.curve) {
        std::copy_n(m_yCurveMaps.get() + static_cast<std::ptrdiff_t>(table) * ogl::kCurveBytes,
                    ogl::kCurveBytes, m_yCurveMap.get());
        ogl::buildUvCurveMap(m_fSatStrength, m_uvCurveMap.get());
        uploadCurves();
    }
    if (on.colorMap) {
        std::copy_n(m_colorLuts.get() + static_cast<std::ptrdiff_t>(table) * ogl::kColorBytes,
                    ogl::kColorBytes, m_colorLut.get());
        uploadColors();
    }
    uploadPlanes();
    return draw(*m_render, *m_outputTexture);
}
