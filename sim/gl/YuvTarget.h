// External textures as draw targets: their backing, their place in framebuffers, and the way of a drawn frame
// back to its hardware buffer. All work on the current context.
#pragma once

#include "sim/gl/State.h"

namespace sim {

// The external texture attached to the framebuffer that is bound for drawing or reading
// (GL_DRAW_FRAMEBUFFER_BINDING, GL_READ_FRAMEBUFFER_BINDING), or null.
ExternalTexture* boundYuvTarget(Context& context, GLenum binding);

// Gives the external texture its image, and a backing of the buffer's size.
void bindImage(Context& context, GLuint texture, std::shared_ptr<HardwareImage> image);

// Frees a texture's backing.
void dropExternal(Context& context, GLuint texture);

// Brings the buffer's own contents into the backing, so that drawing may leave parts of it alone.
void loadIfStale(Context& context, ExternalTexture& external);

// Finishes all drawing and writes every drawn frame to its buffer.
void writeBack(Context& context);

}  // namespace sim
