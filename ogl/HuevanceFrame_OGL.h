// The preview pipeline of the OpenGL ES back end: a stream of frames, each drawn into one of the host's
// hardware buffers, with fades between scenes.
#pragma once

#include <vector>

#include "ogl/OglPipeline.h"

// A host's output buffer that has been imported as a texture. The texture's image keeps the buffer alive, so
// that its address stays its own.
class PreviewFrame : public Object {
public:
    PreviewFrame(int index, void* buffer, GLTexture2DOES* texture)
        : m_iIndex(index), m_pBuffer(buffer), m_texture(texture) {}

    int m_iIndex;  // entries in the queue when it was made
    void* m_pBuffer;
    smart_pointer<GLTexture2DOES> m_texture;
};

class CHuevanceFrame_OGL : public OglPipeline {
public:
    CHuevanceFrame_OGL();
    ~CHuevanceFrame_OGL() override;

    // src: the frame in memory, luma first. dst: the output's AHardwareBuffer, at least of the frame's size.
    // The int is not used. 0, or -1 with a log line, the output as it was, unless the draw itself failed
    // (then it may be cleared, or drawn in part), and the fade where it was. A format other than NV21 and
    // NV12 draws nothing, whatever the buffers, and is 0.
    int process(void* src, int, void* dst, IMAGE_FORMAT_TYPE format, int sceneId);

    // The queue's entry for a buffer, made if there is none: one for each distinct buffer, for hosts that
    // cycle a fixed set. Null when the buffer cannot be imported. The queue keeps it; the engine must be
    // current.
    PreviewFrame* dequeueFrameQueue(void* buffer);
    // On purpose nothing: entries stay until the queue is cleared.
    void enqueueFrameQueue(PreviewFrame* frame);
    // From the last to the first.
    void clearFrameQueue();
    std::size_t frameQueueLength() const { return m_frameQueue.size(); }

    // What is in effect `frame` frames after the change from one scene table to another. Strengths glide,
    // with the weight (T - 1 - frame) / T in floats; tables jump, since theirs is in integers. Each returns
    // 0.
    int fuseHvcParam(int prev, int cur, int frame);
    int fuseCurveLut(int prev, int cur, int frame);
    int fuseColorLut(int prev, int cur, int frame);

protected:
    bool isEnabled() const override;
    void readConfigures() override;
    void createOwn() override;
    void releaseOwn() override;

private:
    HuevanceRender* renderOf(IMAGE_FORMAT_TYPE format) const;
    int drawFrame(HuevanceRender& render, void* dst, const void* src, const huevance::SceneFade& fade);
    void fuseTable(const huevance::Buffer<unsigned char>& tables, int prev, int cur, int frame,
                   huevance::Buffer<unsigned char>& fused) const;

    std::vector<smart_pointer<PreviewFrame>> m_frameQueue;
    smart_pointer<HuevanceRender> m_renderNV12;
    smart_pointer<HuevanceRender> m_renderNV21;
    huevance::SceneFade m_fade;
    int m_iDumpIndex = 0;
    int m_iDumpCycle = 30;
};
