#include "sim/gl/YuvTarget.h"

#include <sim/hardware_buffer.h>

#include <algorithm>

#include "sim/gl/System.h"

namespace sim {

namespace {

// Sets an integer state of the pixel transfer for as long as it lives.
class PixelStore {
public:
    PixelStore(GLenum name, GLint value) : m_name(name) {
        systemGl().glGetIntegerv(name, &m_before);
        systemGl().glPixelStorei(name, value);
    }
    ~PixelStore() { systemGl().glPixelStorei(m_name, m_before); }
    PixelStore(const PixelStore&) = delete;
    PixelStore& operator=(const PixelStore&) = delete;

private:
    GLenum m_name;
    GLint m_before = 0;
};

GLuint binding(GLenum name) {
    GLint value = 0;
    systemGl().glGetIntegerv(name, &value);
    return static_cast<GLuint>(value);
}

// Binds a texture of the layer's own to GL_TEXTURE_2D for as long as it lives.
class BoundTexture {
public:
    explicit BoundTexture(GLuint texture) : m_before(binding(GL_TEXTURE_BINDING_2D)) {
        systemGl().glBindTexture(GL_TEXTURE_2D, texture);
    }
    ~BoundTexture() { systemGl().glBindTexture(GL_TEXTURE_2D, m_before); }
    BoundTexture(const BoundTexture&) = delete;
    BoundTexture& operator=(const BoundTexture&) = delete;

private:
    GLuint m_before;
};

// A buffer's memory as the device sees it, whatever its host may do with it.
class Planes {
public:
    explicit Planes(const AHardwareBuffer* buffer) { sim_hardware_buffer_planes(buffer, &m_planes); }
    unsigned char* row(int plane, int y) const {
        return static_cast<unsigned char*>(m_planes.planes[plane].data) +
               static_cast<std::size_t>(y) * m_planes.planes[plane].rowStride;
    }

private:
    AHardwareBuffer_Planes m_planes = {};
};

constexpr int kReadChannels = 4;  // Y, U, V, 1: what can be read of every texture
constexpr int kLoadChannels = 3;  // Y, U, V

std::vector<unsigned char>& texelsOf(Context& context, const ExternalTexture& external, int channels) {
    context.texels.resize(static_cast<std::size_t>(external.width) *
                          static_cast<std::size_t>(external.height) * static_cast<std::size_t>(channels));
    return context.texels;
}

void storePlanes(const unsigned char* texels, int width, int height, const Planes& planes) {
    const std::size_t pitch = static_cast<std::size_t>(width) * kReadChannels;
    for (int y = 0; y < height; ++y) {
        const unsigned char* from = texels + static_cast<std::size_t>(y) * pitch;
        unsigned char* luma = planes.row(0, y);
        for (int x = 0; x < width; ++x) {
            luma[x] = from[x * kReadChannels];
        }
    }
    for (int y = 0; y < height / 2; ++y) {
        const unsigned char* top = texels + static_cast<std::size_t>(2 * y) * pitch;
        const unsigned char* bottom = top + pitch;
        unsigned char* u = planes.row(1, y);
        unsigned char* v = planes.row(2, y);
        for (int x = 0; x < width / 2; ++x, top += 2 * kReadChannels, bottom += 2 * kReadChannels) {
            const auto one = [&](int channel) {
                const int sum = top[channel] + top[kReadChannels + channel] + bottom[channel] +
                                bottom[kReadChannels + channel];
                return static_cast<unsigned char>((sum + 2) / 4);
            };
            u[2 * x] = one(1);
            v[2 * x] = one(2);
        }
    }
}

void loadPlanes(const Planes& planes, int width, int height, unsigned char* texels) {
    for (int y = 0; y < height; ++y) {
        const unsigned char* luma = planes.row(0, y);
        const unsigned char* u = planes.row(1, y / 2);
        const unsigned char* v = planes.row(2, y / 2);
        for (int x = 0; x < width; ++x, texels += kLoadChannels) {
            texels[0] = luma[x];
            texels[1] = u[x / 2 * 2];
            texels[2] = v[x / 2 * 2];
        }
    }
}

void writeBackOne(Context& context, ExternalTexture& external) {
    const SystemGl& gl = systemGl();
    external.dirty = false;
    const PixelStore alignment(GL_PACK_ALIGNMENT, 1);
    const PixelStore rowLength(GL_PACK_ROW_LENGTH, 0);
    const PixelStore skipRows(GL_PACK_SKIP_ROWS, 0);
    const PixelStore skipPixels(GL_PACK_SKIP_PIXELS, 0);
    const GLuint packBuffer = binding(GL_PIXEL_PACK_BUFFER_BINDING);
    const GLuint readBefore = binding(GL_READ_FRAMEBUFFER_BINDING);
    gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    if (context.readFramebuffer == 0) {
        gl.glGenFramebuffers(1, &context.readFramebuffer);
    }
    gl.glBindFramebuffer(GL_READ_FRAMEBUFFER, context.readFramebuffer);
    gl.glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, external.backing, 0);
    std::vector<unsigned char>& texels = texelsOf(context, external, kReadChannels);
    gl.glReadPixels(0, 0, external.width, external.height, GL_RGBA, GL_UNSIGNED_BYTE, texels.data());
    gl.glFramebufferTexture2D(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
    gl.glBindFramebuffer(GL_READ_FRAMEBUFFER, readBefore);
    gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, packBuffer);
    storePlanes(texels.data(), external.width, external.height, Planes(external.image->buffer()));
}

}  // namespace

HardwareImage::HardwareImage(AHardwareBuffer* buffer) : m_buffer(buffer) { AHardwareBuffer_acquire(buffer); }

HardwareImage::~HardwareImage() { AHardwareBuffer_release(m_buffer); }

bool HardwareImage::isDrawable() const {
    AHardwareBuffer_Desc desc = {};
    AHardwareBuffer_describe(m_buffer, &desc);
    return (desc.usage & AHARDWAREBUFFER_USAGE_GPU_FRAMEBUFFER) != 0;
}

ExternalTexture* boundYuvTarget(Context& context, GLenum name) {
    const auto texture = context.yuvFramebuffers.find(binding(name));
    if (texture == context.yuvFramebuffers.end()) {
        return nullptr;
    }
    const auto external = context.externals.find(texture->second);
    return external != context.externals.end() ? &external->second : nullptr;
}

void bindImage(Context& context, GLuint texture, std::shared_ptr<HardwareImage> image) {
    dropExternal(context, texture);
    AHardwareBuffer_Desc desc = {};
    AHardwareBuffer_describe(image->buffer(), &desc);
    ExternalTexture external;
    external.image = std::move(image);
    external.width = static_cast<int>(desc.width);
    external.height = static_cast<int>(desc.height);
    systemGl().glGenTextures(1, &external.backing);
    const BoundTexture bound(external.backing);
    systemGl().glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGB8, external.width, external.height);
    context.externals[texture] = std::move(external);
}

void dropExternal(Context& context, GLuint texture) {
    const auto found = context.externals.find(texture);
    if (found == context.externals.end()) {
        return;
    }
    if (found->second.dirty) {
        writeBack(context);  // a phone finishes what was drawn before the texture went
    }
    systemGl().glDeleteTextures(1, &found->second.backing);
    context.externals.erase(found);
    std::erase_if(context.yuvFramebuffers, [texture](const auto& entry) { return entry.second == texture; });
}

void loadIfStale(Context& context, ExternalTexture& external) {
    if (!external.stale) {
        return;
    }
    external.stale = false;
    std::vector<unsigned char>& texels = texelsOf(context, external, kLoadChannels);
    loadPlanes(Planes(external.image->buffer()), external.width, external.height, texels.data());
    const PixelStore alignment(GL_UNPACK_ALIGNMENT, 1);
    const PixelStore rowLength(GL_UNPACK_ROW_LENGTH, 0);
    const PixelStore skipRows(GL_UNPACK_SKIP_ROWS, 0);
    const PixelStore skipPixels(GL_UNPACK_SKIP_PIXELS, 0);
    const GLuint unpackBuffer = binding(GL_PIXEL_UNPACK_BUFFER_BINDING);
    systemGl().glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    const BoundTexture bound(external.backing);
    systemGl().glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, external.width, external.height, GL_RGB,
                               GL_UNSIGNED_BYTE, texels.data());
    systemGl().glBindBuffer(GL_PIXEL_UNPACK_BUFFER, unpackBuffer);
}

void writeBack(Context& context) {
    const bool any = std::any_of(context.externals.begin(), context.externals.end(),
                                 [](const auto& entry) { return entry.second.dirty; });
    if (!any) {
        return;
    }
    systemGl().glFinish();
    for (auto& [texture, external] : context.externals) {
        if (external.dirty) {
            writeBackOne(context, external);
        }
    }
}

}  // namespace sim
