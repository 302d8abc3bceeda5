// What the layer adds to OpenGL ES: layout(yuv) output and external textures as draw targets, with their
// extension's rules, and the books.
#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <utility>

#include "sim/gl/Calls.h"
#include "sim/gl/System.h"
#include "sim/gl/YuvTarget.h"

namespace sim {

namespace {

constexpr GLenum kContextLost = 0x0507;
constexpr GLenum kExternalBinding = 0x8D67;  // GL_TEXTURE_BINDING_EXTERNAL_OES

Context& current() { return *State::get().currentContext(); }

void created(Kind kind, GLsizei n, const GLuint* names) {
    const std::lock_guard lock(State::get().mutex);
    current().of(kind).insert(names, names + std::max(n, 0));
}

void deleted(Kind kind, GLsizei n, const GLuint* names) {
    const std::lock_guard lock(State::get().mutex);
    std::for_each_n(names, std::max(n, 0), [kind](GLuint name) { current().of(kind).erase(name); });
}

GLuint integer(GLenum name) {
    GLint value = 0;
    systemGl().glGetIntegerv(name, &value);
    return static_cast<GLuint>(value);
}

bool colorIsMasked() {
    GLboolean mask[4] = {};
    systemGl().glGetBooleanv(GL_COLOR_WRITEMASK, mask);
    return std::find(mask, mask + 4, GL_FALSE) != mask + 4;
}

bool replaceFirst(std::string& text, const std::string& what, const std::string& by) {
    const std::size_t at = text.find(what);
    if (at != std::string::npos) {
        text.replace(at, what.size(), by);
    }
    return at != std::string::npos;
}

std::size_t countOf(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += what.size()) {
        ++count;
    }
    return count;
}

// What a driver without the extension can compile, with the same lines. A shader that breaks the extension's
// rules, not enabling it or with more outputs than one, stays as it is: the driver refuses it. Samplers give
// full floats, as on a phone's hardware; Mesa would round what lowp ones give to half floats, if the
// processor has those.
bool rewriteYuvOutput(std::string& text) {
    const std::string extension = "#extension GL_EXT_YUV_target : require";
    const std::string output = "layout(yuv) out ";
    if (!State::hasYuvTarget() || countOf(text, output) != 1 || countOf(text, "out vec4 ") != 1 ||
        !replaceFirst(text, extension, "")) {
        return false;
    }
    if (!State::get().literalPrecision) {
        replaceFirst(text, "precision ", "precision highp sampler2D; precision ");
    }
    return replaceFirst(text, output, "out ");
}

// A clear of colour needs no contents, unless it leaves some alone.
void clearsColor() {
    Context& context = current();
    if (ExternalTexture* target = boundYuvTarget(context, GL_DRAW_FRAMEBUFFER_BINDING)) {
        if (systemGl().glIsEnabled(GL_SCISSOR_TEST)) {
            loadIfStale(context, *target);
        }
        target->stale = false;
        target->dirty = true;
    }
}

}  // namespace

bool hasSink() {
    const std::lock_guard lock(State::get().mutex);
    return State::get().sink != nullptr;
}

void announceText(const std::string& call) {
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    if (state.sink != nullptr) {
        state.sink(state.sinkContext, call.c_str());
    }
}

bool beginGl(Entry entry) {
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    const auto fault = state.enter(entry);
    Context* context = state.currentContext();
    if (context == nullptr || context->lost) {
        return false;
    }
    if (fault) {
        context->fail(static_cast<GLenum>(*fault));
        return false;
    }
    return true;
}

GLenum hook_glGetError() {
    announce("glGetError");
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    const auto fault = state.enter(Entry::glGetError);
    Context* context = state.currentContext();
    if (context == nullptr) {
        return GL_NO_ERROR;
    }
    if (context->lost) {
        return kContextLost;
    }
    if (fault) {
        return static_cast<GLenum>(*fault);
    }
    if (context->error != GL_NO_ERROR) {
        return std::exchange(context->error, static_cast<GLenum>(GL_NO_ERROR));
    }
    return systemGl().glGetError();
}

const GLubyte* hook_glGetString(GLenum name) {
    const GLubyte* text = systemGl().glGetString(name);
    if (text == nullptr || name != GL_EXTENSIONS || !State::hasYuvTarget()) {
        return text;
    }
    static const std::string all = std::string(reinterpret_cast<const char*>(text)) + " GL_EXT_YUV_target";
    return reinterpret_cast<const GLubyte*>(all.c_str());
}

// --- Names ---

#define GEN_AND_DELETE(kind, Names)                             \
    void hook_glGen##Names(GLsizei n, GLuint* names) {          \
        systemGl().glGen##Names(n, names);                      \
        created(kind, n, names);                                \
    }                                                           \
    void hook_glDelete##Names(GLsizei n, const GLuint* names) { \
        deleted(kind, n, names);                                \
        forget##Names(n, names);                                \
        systemGl().glDelete##Names(n, names);                   \
    }

namespace {
void forgetTextures(GLsizei n, const GLuint* names) {
    const std::lock_guard lock(State::get().mutex);
    std::for_each_n(names, std::max(n, 0), [](GLuint name) { dropExternal(current(), name); });
}
void forgetFramebuffers(GLsizei n, const GLuint* names) {
    const std::lock_guard lock(State::get().mutex);
    std::for_each_n(names, std::max(n, 0), [](GLuint name) { current().yuvFramebuffers.erase(name); });
}
void forgetBuffers(GLsizei /*n*/, const GLuint* /*names*/) {}
void forgetRenderbuffers(GLsizei /*n*/, const GLuint* /*names*/) {}
void forgetVertexArrays(GLsizei /*n*/, const GLuint* /*names*/) {}
}  // namespace

GEN_AND_DELETE(Kind::kTexture, Textures)
GEN_AND_DELETE(Kind::kFramebuffer, Framebuffers)
GEN_AND_DELETE(Kind::kBuffer, Buffers)
GEN_AND_DELETE(Kind::kRenderbuffer, Renderbuffers)
GEN_AND_DELETE(Kind::kVertexArray, VertexArrays)

GLuint hook_glCreateProgram() {
    const GLuint name = systemGl().glCreateProgram();
    if (name != 0) {
        created(Kind::kProgram, 1, &name);
    }
    return name;
}

void hook_glDeleteProgram(GLuint program) {
    deleted(Kind::kProgram, 1, &program);
    systemGl().glDeleteProgram(program);
}

GLuint hook_glCreateShader(GLenum type) {
    const GLuint name = systemGl().glCreateShader(type);
    if (name != 0) {
        created(Kind::kShader, 1, &name);
    }
    return name;
}

void hook_glDeleteShader(GLuint shader) {
    deleted(Kind::kShader, 1, &shader);
    systemGl().glDeleteShader(shader);
}

GLsync hook_glFenceSync(GLenum condition, GLbitfield flags) {
    const GLsync sync = systemGl().glFenceSync(condition, flags);
    if (sync != nullptr) {
        const std::lock_guard lock(State::get().mutex);
        current().syncs.insert(sync);
    }
    return sync;
}

void hook_glDeleteSync(GLsync sync) {
    {
        const std::lock_guard lock(State::get().mutex);
        current().syncs.erase(sync);
    }
    systemGl().glDeleteSync(sync);
}

// --- Shaders ---

void hook_glShaderSource(GLuint shader, GLsizei count, const GLchar* const* strings, const GLint* lengths) {
    std::string text;
    for (GLsizei i = 0; i < count; ++i) {
        const bool measured = lengths != nullptr && lengths[i] >= 0;
        text += measured ? std::string(strings[i], static_cast<std::size_t>(lengths[i]))
                         : std::string(strings[i]);
    }
    const bool yuv = rewriteYuvOutput(text);
    {
        const std::lock_guard lock(State::get().mutex);
        current().yuvShaders.erase(shader);
        if (yuv) {
            current().yuvShaders.insert(shader);
        }
    }
    const GLchar* whole = text.c_str();
    systemGl().glShaderSource(shader, 1, &whole, nullptr);
}

void hook_glAttachShader(GLuint program, GLuint shader) {
    systemGl().glAttachShader(program, shader);
    GLint type = 0;
    systemGl().glGetShaderiv(shader, GL_SHADER_TYPE, &type);
    if (type == GL_FRAGMENT_SHADER) {
        const std::lock_guard lock(State::get().mutex);
        current().yuvPrograms[program] = current().yuvShaders.count(shader) != 0;
    }
}

// --- Targets ---

void hook_glEGLImageTargetTexture2DOES(GLenum target, GLeglImageOES handle) {
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    Context& context = current();
    if (target != GL_TEXTURE_EXTERNAL_OES) {
        return context.fail(GL_INVALID_ENUM);
    }
    const auto image = state.images.find(handle);
    if (image == state.images.end()) {
        return context.fail(GL_INVALID_VALUE);
    }
    const GLuint texture = integer(kExternalBinding);
    if (texture == 0) {
        return context.fail(GL_INVALID_OPERATION);
    }
    bindImage(context, texture, image->second.second);
}

void hook_glFramebufferTexture2D(GLenum target, GLenum attachment, GLenum textarget, GLuint texture,
                                 GLint level) {
    State& state = State::get();
    const std::lock_guard lock(state.mutex);
    Context& context = current();
    const GLuint framebuffer =
        integer(target == GL_READ_FRAMEBUFFER ? GL_READ_FRAMEBUFFER_BINDING : GL_DRAW_FRAMEBUFFER_BINDING);
    if (textarget != GL_TEXTURE_EXTERNAL_OES) {
        if (attachment == GL_COLOR_ATTACHMENT0) {
            context.yuvFramebuffers.erase(framebuffer);
        }
        return systemGl().glFramebufferTexture2D(target, attachment, textarget, texture, level);
    }
    if (attachment != GL_COLOR_ATTACHMENT0 || framebuffer == 0) {
        return context.fail(GL_INVALID_OPERATION);
    }
    if (level != 0) {
        return context.fail(GL_INVALID_VALUE);
    }
    const auto external = context.externals.find(texture);
    const bool drawable = external != context.externals.end() && external->second.image->isDrawable();
    if (drawable) {
        external->second.stale = true;  // others may have written to the buffer since
        context.yuvFramebuffers[framebuffer] = texture;
    } else {
        context.yuvFramebuffers.erase(framebuffer);  // which leaves it incomplete
    }
    systemGl().glFramebufferTexture2D(target, attachment, GL_TEXTURE_2D,
                                      drawable ? external->second.backing : 0, 0);
}

bool beginDraw() {
    Context& context = current();
    ExternalTexture* target = boundYuvTarget(context, GL_DRAW_FRAMEBUFFER_BINDING);
    const auto program = context.yuvPrograms.find(integer(GL_CURRENT_PROGRAM));
    const bool known = program != context.yuvPrograms.end();
    if (known && program->second != (target != nullptr)) {
        context.fail(GL_INVALID_OPERATION);  // such output and such a target go together only
        return false;
    }
    if (target == nullptr) {
        return true;
    }
    if (systemGl().glIsEnabled(GL_BLEND) || colorIsMasked()) {
        context.fail(GL_INVALID_OPERATION);
        return false;
    }
    loadIfStale(context, *target);
    target->dirty = true;
    return true;
}

void hook_glClear(GLbitfield mask) {
    if ((mask & GL_COLOR_BUFFER_BIT) != 0) {
        clearsColor();
    }
    systemGl().glClear(mask);
}

void hook_glClearBufferfv(GLenum buffer, GLint index, const GLfloat* value) {
    if (buffer == GL_COLOR) {
        clearsColor();
    }
    systemGl().glClearBufferfv(buffer, index, value);
}

void hook_glReadPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type,
                       void* pixels) {
    Context& context = current();
    if (ExternalTexture* source = boundYuvTarget(context, GL_READ_FRAMEBUFFER_BINDING)) {
        loadIfStale(context, *source);
    }
    systemGl().glReadPixels(x, y, width, height, format, type, pixels);
}

void hook_glBlitFramebuffer(GLint srcX0, GLint srcY0, GLint srcX1, GLint srcY1, GLint dstX0, GLint dstY0,
                            GLint dstX1, GLint dstY1, GLbitfield mask, GLenum filter) {
    if (boundYuvTarget(current(), GL_READ_FRAMEBUFFER_BINDING) != nullptr ||
        boundYuvTarget(current(), GL_DRAW_FRAMEBUFFER_BINDING) != nullptr) {
        return current().fail(GL_INVALID_OPERATION);
    }
    systemGl().glBlitFramebuffer(srcX0, srcY0, srcX1, srcY1, dstX0, dstY0, dstX1, dstY1, mask, filter);
}

// --- Fences ---

void hook_glFinish() {
    systemGl().glFinish();
    const std::lock_guard lock(State::get().mutex);
    writeBack(current());
}

GLenum hook_glClientWaitSync(GLsync sync, GLbitfield flags, GLuint64 timeout) {
    State& state = State::get();
    if (state.strict) {
        std::this_thread::sleep_for(std::chrono::nanoseconds(timeout));
        return GL_TIMEOUT_EXPIRED;
    }
    {
        const std::lock_guard lock(state.mutex);
        if (state.fenceTimeouts > 0) {
            --state.fenceTimeouts;
            return GL_TIMEOUT_EXPIRED;
        }
        // Before the wait: a software driver takes longer than callers wait.
        systemGl().glFinish();
        writeBack(current());
    }
    return systemGl().glClientWaitSync(sync, flags, timeout);
}

}  // namespace sim
