// What the layer remembers: settings, faults, call counts, and the objects of every context.
#pragma once

#include <sim/gl.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sim/gl/Headers.h"

namespace sim {

// Every entry point, EGL's first.
enum class Entry : int {
#define EGL_ENTRY(result, name, parameters, arguments) name,
#include "sim/gl/EglEntries.inc"
#define GL_ENTRY(result, name, parameters, arguments) name,
#include "sim/gl/GlEntries.inc"
    kCount
};

// Objects of a context that have names.
enum class Kind { kTexture, kFramebuffer, kProgram, kShader, kBuffer, kRenderbuffer, kVertexArray, kCount };

// A hardware buffer behind an EGL image; it holds a reference to the buffer.
class HardwareImage {
public:
    explicit HardwareImage(AHardwareBuffer* buffer);
    ~HardwareImage();
    HardwareImage(const HardwareImage&) = delete;
    HardwareImage& operator=(const HardwareImage&) = delete;
    AHardwareBuffer* buffer() const { return m_buffer; }
    // Whether the buffer was allocated for drawing.
    bool isDrawable() const;

private:
    AHardwareBuffer* m_buffer;
};

// An external texture that an EGL image was bound to. Its texels are Y, U, V in a plain texture, `backing`,
// whose alpha reads as 1.
struct ExternalTexture {
    std::shared_ptr<HardwareImage> image;
    GLuint backing = 0;
    int width = 0;
    int height = 0;
    bool dirty = false;  // drawn to since the last write-back
    bool stale = true;   // the backing does not hold the buffer's contents
};

struct Context {
    EGLDisplay display = nullptr;
    EGLContext handle = nullptr;
    bool current = false;
    bool destroyed = false;
    bool lost = false;
    GLenum error = 0;  // of this layer, ahead of the driver's own
    std::set<GLuint> objects[static_cast<int>(Kind::kCount)];
    std::set<GLsync> syncs;
    std::set<GLuint> yuvShaders;
    std::map<GLuint, bool> yuvPrograms;  // whether the output is layout(yuv); absent where unknown
    std::map<GLuint, ExternalTexture> externals;
    std::map<GLuint, GLuint> yuvFramebuffers;  // framebuffer to external texture
    GLuint readFramebuffer = 0;
    std::vector<unsigned char> texels;  // of a write-back

    std::set<GLuint>& of(Kind kind) { return objects[static_cast<int>(kind)]; }
    // The first error stays until it is read.
    void fail(GLenum code) { error = error == 0 ? code : error; }
};

class State {
public:
    static State& get();

    void reset();

    // Counts a call; the code to fail it with, if it is to fail.
    std::optional<int> enter(Entry entry);

    int live(const std::string& kind) const;

    // The calling thread's context, or null.
    Context* currentContext() const;
    void setCurrent(Context* context);
    Context* find(EGLContext handle);
    // Forgets contexts that are destroyed and not current.
    void sweep();

    mutable std::recursive_mutex mutex;  // held while anything below is touched

    std::map<Entry, std::pair<int, int>> faults;  // calls until then, code
    int calls[static_cast<int>(Entry::kCount)] = {};
    int fenceTimeouts = 0;
    // False where the environment's HUEVANCE_SIM_NO_YUV_TARGET is 1: the driver lacks the extension.
    static bool hasYuvTarget();

    bool strict = strictByDefault();
    bool literalPrecision = false;
    sim_gl_call_sink sink = nullptr;
    void* sinkContext = nullptr;

    std::set<EGLDisplay> displays;  // initialised
    std::map<EGLSurface, EGLDisplay> surfaces;
    std::map<EGLImageKHR, std::pair<EGLDisplay, std::shared_ptr<HardwareImage>>> images;
    std::vector<std::unique_ptr<Context>> contexts;

private:
    static bool strictByDefault();
};

// The index of an entry point's name, or nothing.
std::optional<Entry> findEntry(const std::string& name);

// The exported function of an entry point, or null while its library is not loaded.
using Procedure = __eglMustCastToProperFunctionPointerType;
bool setProcedure(Entry entry, Procedure procedure);
Procedure procedureOf(Entry entry);

// This thread's EGL error of this layer, ahead of the driver's own. Reading clears it.
void setEglError(EGLint code);
EGLint takeEglError();

}  // namespace sim
