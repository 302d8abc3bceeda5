// Owners of textures of unsigned bytes. All calls need the context that made the texture to be current; the
// destructors do nothing harmful without it (the names went with the context).
#pragma once

#include "ogl/GLHeaders.h"
#include "ogl/Object.h"

class GLTexture2D : public Object {
public:
    // Generates the name.
    GLTexture2D();
    // The same, then set().
    GLTexture2D(int width, int height, int internalFormat, unsigned format, void* pixels);
    ~GLTexture2D() override;

    // Uploads width x height texels; rows follow each other without padding, whatever their length. Null
    // leaves the contents undefined. Linear filters, edges clamped.
    virtual void set(int width, int height, int internalFormat, unsigned format, void* pixels);
    // Deletes the name.
    virtual void recycle();

    GLuint name() const { return m_texture; }
    unsigned target() const { return m_target; }
    int width() const { return m_iWidth; }
    int height() const { return m_iHeight; }
    int format() const { return m_iFormat; }

protected:
    GLuint m_texture = 0;
    unsigned m_target = GL_TEXTURE_2D;
    int m_iWidth = 0;
    int m_iHeight = 0;
    int m_iFormat = 0;
};

// A host's hardware buffer as an external texture. The EGL image holds a reference to the buffer.
class GLTexture2DOES : public GLTexture2D {
public:
    // clientBuffer as from eglGetNativeClientBufferANDROID, or null.
    GLTexture2DOES(void* clientBuffer, unsigned target, int width, int height);
    ~GLTexture2DOES() override;

    using GLTexture2D::set;
    // Makes an image of the buffer and binds it to the texture, in place of the one held. Errors are logged;
    // then isUsable says no.
    virtual void set(void* clientBuffer, unsigned target, int width, int height);
    // Deletes the name and destroys the image.
    void recycle() override;

    // The texture is the buffer.
    bool isUsable() const { return m_bUsable; }

private:
    void destroyImage();

    EGLDisplay m_display;
    void* m_clientBuffer = nullptr;
    EGLImageKHR m_image = EGL_NO_IMAGE_KHR;
    bool m_bUsable = false;
};

class GLTexture3D : public Object {
public:
    GLTexture3D(int width, int height, int depth, int internalFormat, unsigned format, void* pixels);
    ~GLTexture3D() override;

    // As for two dimensions. On purpose the third axis keeps its default and repeats.
    void set(int width, int height, int depth, int internalFormat, unsigned format, void* pixels);
    void recycle();

    GLuint name() const { return m_texture; }
    unsigned target() const { return m_target; }

private:
    GLuint m_texture = 0;
    unsigned m_target = GL_TEXTURE_3D;
    int m_iWidth = 0;
    int m_iHeight = 0;
    int m_iDepth = 0;
    int m_iFormat = 0;
};
