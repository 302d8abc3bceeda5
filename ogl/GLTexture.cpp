#include "ogl/GLTexture.h"

#include "ogl/GLUtils.h"

namespace {

void generate(GLuint* texture) { GL_CALL(glGenTextures, 1, texture); }

void remove(GLuint* texture) {
    if (*texture != 0) {
        GL_CALL(glDeleteTextures, 1, texture);
        *texture = 0;
    }
}

// Rows here have any length; the default would round it up to 4 bytes and read past their end.
void unpackTightly() { GL_CALL(glPixelStorei, GL_UNPACK_ALIGNMENT, 1); }

// Linear filters; the first two axes clamp.
void setParameters(unsigned target) {
    GL_CALL(glTexParameteri, target, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    GL_CALL(glTexParameteri, target, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    GL_CALL(glTexParameteri, target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    GL_CALL(glTexParameteri, target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

}  // namespace

GLTexture2D::GLTexture2D() { generate(&m_texture); }

GLTexture2D::GLTexture2D(int width, int height, int internalFormat, unsigned format, void* pixels)
    : GLTexture2D() {
    GLTexture2D::set(width, height, internalFormat, format, pixels);
}

GLTexture2D::~GLTexture2D() { remove(&m_texture); }

void GLTexture2D::set(int width, int height, int internalFormat, unsigned format, void* pixels) {
    m_iWidth = width;
    m_iHeight = height;
    m_iFormat = internalFormat;
    unpackTightly();
    GL_CALL(glBindTexture, m_target, m_texture);
    GL_CALL(glTexImage2D, m_target, 0, internalFormat, width, height, 0, format, GL_UNSIGNED_BYTE, pixels);
    setParameters(m_target);
    GL_CALL(glBindTexture, m_target, 0);
}

void GLTexture2D::recycle() { remove(&m_texture); }

GLTexture2DOES::GLTexture2DOES(void* clientBuffer, unsigned target, int width, int height)
    : m_display(eglGetDisplay(EGL_DEFAULT_DISPLAY)) {
    GLTexture2DOES::set(clientBuffer, target, width, height);
}

GLTexture2DOES::~GLTexture2DOES() { GLTexture2DOES::recycle(); }

void GLTexture2DOES::set(void* clientBuffer, unsigned target, int width, int height) {
    m_target = target;
    m_iWidth = width;
    m_iHeight = height;
    m_iFormat = GL_RGBA8;
    m_bUsable = false;
    if (clientBuffer != m_clientBuffer) {
        destroyImage();
        m_clientBuffer = clientBuffer;
    }
    if (clientBuffer == nullptr) {
        return;
    }
    destroyImage();  // on purpose of the same buffer, too: its image would leak
    m_image = eglCreateImageKHR(m_display, EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID, clientBuffer, nullptr);
    GLUtils::checkEGLError("eglCreateImageKHR");
    glBindTexture(target, m_texture);
    const bool bound = GLUtils::checkGLError("glBindTexture");
    glEGLImageTargetTexture2DOES(target, m_image);
    const bool filled = GLUtils::checkGLError("glEGLImageTargetTexture2DOES");
    GL_CALL(glBindTexture, target, 0);
    m_bUsable = m_texture != 0 && m_image != EGL_NO_IMAGE_KHR && bound && filled;
}

void GLTexture2DOES::recycle() {
    m_bUsable = false;
    GLTexture2D::recycle();
    destroyImage();
}

void GLTexture2DOES::destroyImage() {
    if (m_image != EGL_NO_IMAGE_KHR) {
        eglDestroyImageKHR(m_display, m_image);
        GLUtils::checkEGLError("eglDestroyImageKHR");
        m_image = EGL_NO_IMAGE_KHR;
    }
}

GLTexture3D::GLTexture3D(int width, int height, int depth, int internalFormat, unsigned format,
                         void* pixels) {
    generate(&m_texture);
    set(width, height, depth, internalFormat, format, pixels);
}

GLTexture3D::~GLTexture3D() { recycle(); }

void GLTexture3D::set(int width, int height, int depth, int internalFormat, unsigned format, void* pixels) {
    m_iWidth = width;
    m_iHeight = height;
    m_iDepth = depth;
    m_iFormat = internalFormat;
    unpackTightly();
    GL_CALL(glBindTexture, m_target, m_texture);
    GL_CALL(glTexImage3D, m_target, 0, internalFormat, width, height, depth, 0, format, GL_UNSIGNED_BYTE,
            pixels);
    setParameters(m_target);
    GL_CALL(glBindTexture, m_target, 0);
}

void GLTexture3D::recycle() { remove(&m_texture); }
