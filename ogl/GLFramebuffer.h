// Owner of one framebuffer name.
#pragma once

#include "ogl/GLHeaders.h"
#include "ogl/Object.h"

class GLFramebuffer : public Object {
public:
    GLFramebuffer();
    ~GLFramebuffer() override;

    // Nothing without a name.
    void bind(unsigned target);
    // Binds framebuffer 0.
    void unBind();
    // Attaches level 0 of the texture at GL_COLOR_ATTACHMENT0 + attachment of the bound framebuffer; nothing
    // when either name is 0. Whether it is attached and the framebuffer complete; a log line if not. An
    // attachment that fails leaves the one before in place.
    bool attachTexture(unsigned attachment, unsigned texture, unsigned textarget);
    // glBlitFramebuffer.
    void blit(int srcX0, int srcY0, int srcX1, int srcY1, int dstX0, int dstY0, int dstX1, int dstY1,
              unsigned mask, unsigned filter);

private:
    GLuint m_framebuffer = 0;
};
