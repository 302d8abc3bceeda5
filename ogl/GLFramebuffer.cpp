#include "ogl/GLFramebuffer.h"

#include "ogl/GLUtils.h"

GLFramebuffer::GLFramebuffer() { GL_CALL(glGenFramebuffers, 1, &m_framebuffer); }

GLFramebuffer::~GLFramebuffer() {
    if (m_framebuffer != 0) {
        GL_CALL(glDeleteFramebuffers, 1, &m_framebuffer);
    }
}

void GLFramebuffer::bind(unsigned target) {
    if (m_framebuffer != 0) {
        GL_CALL(glBindFramebuffer, target, m_framebuffer);
    }
}

void GLFramebuffer::unBind() { GL_CALL(glBindFramebuffer, GL_FRAMEBUFFER, 0); }

bool GLFramebuffer::attachTexture(unsigned attachment, unsigned texture, unsigned textarget) {
    if (m_framebuffer == 0 || texture == 0) {
        return false;
    }
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0 + attachment, textarget, texture, 0);
    const bool attached = GLUtils::checkGLError("glFramebufferTexture2D");
    return GLUtils::checkFramebufferStatus() && attached;
}

void GLFramebuffer::blit(int srcX0, int srcY0, int srcX1, int srcY1, int dstX0, int dstY0, int dstX1,
                         int dstY1, unsigned mask, unsigned filter) {
    GL_CALL(glBlitFramebuffer, srcX0, srcY0, srcX1, srcY1, dstX0, dstY0, dstX1, dstY1, mask, filter);
}
