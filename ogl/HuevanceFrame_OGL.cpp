#include "ogl/HuevanceFrame_OGL.h"

#include <algorithm>

#include "ogl/ByteTables.h"

CHuevanceFrame_OGL::CHuevanceFrame_OGL()
    : OglPipeline({"CHuevanceFrame_OGL", "Huevance_Preview", "loadFrameConfigures"}) {}

CHuevanceFrame_OGL::~CHuevanceFrame_OGL() { release(); }

bool CHuevanceFrame_OGL::isEnabled() const { return m_tuning.m_iFrameSwitch == 1; }

void CHuevanceFrame_OGL::readConfigures() { m_tuning.readFrameSet(); }

void CHuevanceFrame_OGL::createOwn() {
    m_renderNV12 = createRender(IMAGE_FORMAT_TYPE_NV12);
    m_renderNV21 = createRender(IMAGE_FORMAT_TYPE_NV21);
}

void CHuevanceFrame_OGL::releaseOwn() {
    clearFrameQueue();
    for (smart_pointer<HuevanceRender>* render : {&m_renderNV12, &m_renderNV21}) {
        if (*render) {
            (*render)->destroy();
        }
        *render = nullptr;
    }
}

PreviewFrame* CHuevanceFrame_OGL::dequeueFrameQueue(void* buffer) {
    for (const smart_pointer<PreviewFrame>& frame : m_frameQueue) {
        if (frame->m_pBuffer == buffer) {
            return frame.get();
        }
    }
    const smart_pointer<GLTexture2DOES> texture = importBuffer(buffer);
    if (!texture) {
        return nullptr;
    }
    const smart_pointer<PreviewFrame> frame(
        new PreviewFrame(static_cast<int>(m_frameQueue.size()), buffer, texture.get()));
    m_frameQueue.push_back(frame);
    return frame.get();
}

void CHuevanceFrame_OGL::enqueueFrameQueue(PreviewFrame* /*frame*/) {}

void CHuevanceFrame_OGL::clearFrameQueue() {
    while (!m_frameQueue.empty()) {
        m_frameQueue.pop_back();
    }
}

int CHuevanceFrame_OGL::fuseHvcParam(int prev, int cur, int frame) {
    m_scenes.fuseStrengths(prev, cur, frame, m_tuning);
    setStrengths(m_tuning);
    return 0;
}

void CHuevanceFrame_OGL::fuseTable(const huevance::Buffer<unsigned char>& tables, int prev, int cur,
                                   int frame, huevance::Buffer<unsigned char>& fused) const {
    const int bytes = static_cast<int>(fused.size());
    const int weight = prev != cur ? ogl::tableWeight(m_tuning.m_iTransFrameNum, frame) : 0;
    ogl::fuseBytes(tables.get() + static_cast<std::ptrdiff_t>(prev) * bytes,
                   tables.get() + static_cast<std::ptrdiff_t>(cur) * bytes, bytes, weight, fused.get());
}

int CHuevanceFrame_OGL::fuseCurveLut(int prev, int cur, int frame) {
    fuseTable(m_yCurveMaps, prev, cur, frame, m_yCurveMap);
    ogl::buildUvCurveMap(m_fSatStrength, m_uvCurveMap.get());
    return 0;
}

int CHuevanceFrame_OGL::fuseColorLut(int prev, int cur, int frame) {
    fuseTable(m_colorLuts, prev, cur, frame, m_colorLut);
    return 0;
}

HuevanceRender* CHuevanceFrame_OGL::renderOf(IMAGE_FORMAT_TYPE format) const {
    switch (format) {
        case IMAGE_FORMAT_TYPE_NV21:
            return m_renderNV21.get();
        case IMAGE_FORMAT_TYPE_NV12:
            return m_renderNV12.get();
        default:
            return nullptr;
    }
}

int CHuevanceFrame_OGL::process(void* src, int, void* dst, IMAGE_FORMAT_TYPE format, int sceneId) {
    if (!isEnabled()) {
        return 0;
    }
    const int table = m_tuning.tableOfScene(sceneId);
    const bool draws = format == IMAGE_FORMAT_TYPE_NV21 || format == IMAGE_FORMAT_TYPE_NV12;
    if (table < 0 || checkSetUp() != 0 || (draws && (checkFrame(src, dst) != 0 || checkMask() != 0))) {
        return -1;
    }
    huevance::SceneFade fade = m_fade;  // a frame that fails leaves the stream's as it was
    fade.begin(table, m_tuning.m_iSceneNum, m_tuning.m_iTransFrameNum);
    fuseHvcParam(fade.previous(), fade.current(), fade.counter());
    logInfo("fColorStrength: %f, fSatStrength: %f, fClaheStrength: %f", static_cast<double>(m_fColorStrength),
            static_cast<double>(m_fSatStrength), static_cast<double>(m_fClaheStrength));
    {
        const GLEngineScope current(m_engine.get());
        if (!current) {
            logError("[CHuevanceFrame_OGL] process error: GLEnv init failed!!!");
            return -1;
        }
        HuevanceRender* render = renderOf(format);
        // Nothing is drawn without a renderer. Nothing is copied, imported and cleared then either: the other
        // formats have other samples, and a cleared output would be a drawn one.
        if (render != nullptr) {
            if (drawFrame(*render, dst, src, fade) != 0) {
                return -1;
            }
            if (m_tuning.m_iSaveFrame == 1) {
                dumpFrame(dst, sceneId, m_iDumpIndex);
            }
        }
    }
    fade.end(m_tuning.m_iTransFrameNum);
    m_fade = fade;
    m_iDumpIndex = m_iDumpCycle != 0 ? (m_iDumpIndex + 1) % m_iDumpCycle : 0;
    return 0;
}

int CHuevanceFrame_OGL::drawFrame(HuevanceRender& render, void* dst, const void* src,
                                  const huevance::SceneFade& fade) {
    beginFrame();
    const PreviewFrame* output = dequeueFrameQueue(dst);
    if (output == nullptr) {
        return -1;
    }
    copyPlanes(static_cast<const unsigned char*>(src));
    const huevance::StageSwitches on = m_tuning.switches();
    if (on.clahe) {
        updateClahe();
        uploadClahe();
    }
    if (on.curve) {
        fuseCurveLut(fade.previous(), fade.current(), fade.counter());
        uploadCurves();
    }
    if (on.colorMap) {
        fuseColorLut(fade.previous(), fade.current(), fade.counter());
        uploadColors();
    }
    uploadPlanes();
    return draw(render, *output->m_texture);
}
