// The capture pipeline of the OpenGL ES back end: one still per call, drawn into the host's hardware buffer.
#pragma once

#include "ogl/OglPipeline.h"

class CHuevancePhoto_OGL : public OglPipeline {
public:
    CHuevancePhoto_OGL();
    ~CHuevancePhoto_OGL() override;

    // src: the frame in memory, luma first. dst: the output's AHardwareBuffer, at least of the frame's size;
    // it may be the buffer that holds src. 0, or -1 with a log line and the output as it was, unless the draw
    // itself failed: then it may be cleared, or drawn in part.
    int process(void* src, void* dst, IMAGE_FORMAT_TYPE format, int scene);

protected:
    bool isEnabled() const override;
    void readConfigures() override;
    void releaseOwn() override;

private:
    int drawCapture(void* dst, IMAGE_FORMAT_TYPE format, const void* src, int table);

    smart_pointer<HuevanceRender> m_render;
    smart_pointer<GLTexture2DOES> m_outputTexture;
    int m_iCaptures = 0;
};
