#include "ogl/GLShaderProgram.h"

#include <cstring>

#include "core/Buffer.h"
#include "jni/algocommon/FileOperation.h"
#include "ogl/GLUtils.h"

namespace {

constexpr int kGuessedLogLength = 4096;

// The info log of a shader or program.
class InfoLog {
public:
    template <typename GetLength, typename GetText>
    InfoLog(GetLength getLength, GetText getText) {
        GLint length = 0;
        getLength(&length);
        if (length <= 0) {
            GL_LOG_ERROR("Guessing at GL_INFO_LOG_LENGTH size\n");
            length = kGuessedLogLength;
        }
        if (m_text.allocate(static_cast<std::size_t>(length))) {
            getText(length, m_text.get());
        }
    }
    const char* text() const { return m_text.empty() ? "" : m_text.get(); }

private:
    huevance::Buffer<char> m_text;
};

InfoLog shaderLog(GLuint shader) {
    return {[&](GLint* length) { GL_CALL(glGetShaderiv, shader, GL_INFO_LOG_LENGTH, length); },
            [&](GLint length, char* text) { GL_CALL(glGetShaderInfoLog, shader, length, nullptr, text); }};
}

InfoLog programLog(GLuint program) {
    return {[&](GLint* length) { GL_CALL(glGetProgramiv, program, GL_INFO_LOG_LENGTH, length); },
            [&](GLint length, char* text) { GL_CALL(glGetProgramInfoLog, program, length, nullptr, text); }};
}

// 0 on failure.
GLuint loadShader(GLenum type, const char* text) {
    const GLuint shader = GL_CALL(glCreateShader, type);
    if (shader == 0) {
        return 0;
    }
    GL_CALL(glShaderSource, shader, 1, &text, nullptr);
    GL_CALL(glCompileShader, shader);
    GLint compiled = GL_FALSE;
    GL_CALL(glGetShaderiv, shader, GL_COMPILE_STATUS, &compiled);
    if (compiled == GL_FALSE) {
        GL_LOG_ERROR("[GLShaderProgram] loadShader error: Could not compile shader[%d]: %s",
                     static_cast<int>(type), shaderLog(shader).text());
        GL_CALL(glDeleteShader, shader);
        return 0;
    }
    return shader;
}

bool isLinked(GLuint program) {
    GLint linked = GL_FALSE;
    GL_CALL(glGetProgramiv, program, GL_LINK_STATUS, &linked);
    return linked != GL_FALSE;
}

// 0 on failure. On purpose the shaders stay after a successful link: they go with the context.
GLuint createProgram(GLuint vertex, GLuint fragment) {
    const GLuint program = GL_CALL(glCreateProgram);
    if (program == 0) {
        return 0;
    }
    GL_CALL(glAttachShader, program, vertex);
    GL_CALL(glAttachShader, program, fragment);
    GL_CALL(glLinkProgram, program);
    if (!isLinked(program)) {
        GL_LOG_ERROR("[GLShaderProgram] createProgram error: Could not link program: %s",
                     programLog(program).text());
        GL_CALL(glDeleteProgram, program);
        return 0;
    }
    return program;
}

}  // namespace

GLShaderProgram::~GLShaderProgram() { release(); }

int GLShaderProgram::init(const char* vertex, const char* fragment) {
    release();
    const GLuint vertexShader = loadShader(GL_VERTEX_SHADER, vertex);
    const GLuint fragmentShader = vertexShader != 0 ? loadShader(GL_FRAGMENT_SHADER, fragment) : 0;
    m_program = fragmentShader != 0 ? createProgram(vertexShader, fragmentShader) : 0;
    if (!isBuilt()) {
        for (const GLuint shader : {vertexShader, fragmentShader}) {
            if (shader != 0) {
                GL_CALL(glDeleteShader, shader);
            }
        }
    }
    return isBuilt() ? 0 : -1;
}

int GLShaderProgram::init(const void* programBinary, unsigned binaryFormat, int length) {
    release();
    const GLuint program = GL_CALL(glCreateProgram);
    if (program == 0) {
        return -1;
    }
    GL_CALL(glProgramBinary, program, binaryFormat, programBinary, length);
    if (!isLinked(program)) {
        GL_LOG_ERROR("[GLShaderProgram] createProgram error: Failed to load binary program: %s",
                     programLog(program).text());
        GL_CALL(glDeleteProgram, program);
        return -1;
    }
    m_program = program;
    return 0;
}

bool GLShaderProgram::beginDraw() {
    if (isBuilt()) {
        GL_CALL(glUseProgram, m_program);
    }
    return isBuilt();
}

void GLShaderProgram::setViewport(int x, int y, int width, int height) {
    GL_CALL(glViewport, x, y, width, height);
}

void GLShaderProgram::enableVertexAttribArray(unsigned index, int size, unsigned type, bool normalized,
                                              int stride, const void* pointer) {
    GL_CALL(glVertexAttribPointer, index, size, type, static_cast<GLboolean>(normalized), stride, pointer);
    GL_CALL(glEnableVertexAttribArray, index);
}

void GLShaderProgram::disableVertexAttribArray(unsigned index) { GL_CALL(glDisableVertexAttribArray, index); }

void GLShaderProgram::endDraw(unsigned mode, int first, int count) {
    GL_CALL(glDrawArrays, mode, first, count);
}

void GLShaderProgram::set(const char* name, int a) { GL_CALL(glUniform1i, getUniformLocation(name), a); }

void GLShaderProgram::set(const char* name, int a, int b) {
    GL_CALL(glUniform2i, getUniformLocation(name), a, b);
}

void GLShaderProgram::set(const char* name, int a, int b, int c) {
    GL_CALL(glUniform3i, getUniformLocation(name), a, b, c);
}

void GLShaderProgram::set(const char* name, int a, int b, int c, int d) {
    GL_CALL(glUniform4i, getUniformLocation(name), a, b, c, d);
}

void GLShaderProgram::set(const char* name, float a) { GL_CALL(glUniform1f, getUniformLocation(name), a); }

void GLShaderProgram::set(const char* name, float a, float b) {
    GL_CALL(glUniform2f, getUniformLocation(name), a, b);
}

void GLShaderProgram::set(const char* name, float a, float b, float c) {
    GL_CALL(glUniform3f, getUniformLocation(name), a, b, c);
}

void GLShaderProgram::set(const char* name, float a, float b, float c, float d) {
    GL_CALL(glUniform4f, getUniformLocation(name), a, b, c, d);
}

void GLShaderProgram::setMatrix2(const char* name, int count, bool transpose, const float* values) {
    GL_CALL(glUniformMatrix2fv, getUniformLocation(name), count, static_cast<GLboolean>(transpose), values);
}

void GLShaderProgram::setMatrix3(const char* name, int count, bool transpose, const float* values) {
    GL_CALL(glUniformMatrix3fv, getUniformLocation(name), count, static_cast<GLboolean>(transpose), values);
}

void GLShaderProgram::setMatrix4(const char* name, int count, bool transpose, const float* values) {
    GL_CALL(glUniformMatrix4fv, getUniformLocation(name), count, static_cast<GLboolean>(transpose), values);
}

void GLShaderProgram::setUniform(int location, float value) { GL_CALL(glUniform1f, location, value); }

void GLShaderProgram::setTarget(int location, int unit, unsigned texture, unsigned target) {
    GL_CALL(glActiveTexture, static_cast<GLenum>(GL_TEXTURE0 + unit));
    GL_CALL_LABELLED("glActiveTexture", glBindTexture, target, texture);  // on purpose under this label
    GL_CALL(glUniform1i, location, unit);
}

int GLShaderProgram::getAttribLocation(const char* name) {
    return GL_CALL(glGetAttribLocation, m_program, name);
}

int GLShaderProgram::getUniformLocation(const char* name) {
    return GL_CALL(glGetUniformLocation, m_program, name);
}

int GLShaderProgram::saveToBinary(const char* path) {
    if (!isBuilt()) {
        return -1;
    }
    GLint length = 0;
    GL_CALL(glGetProgramiv, m_program, GL_PROGRAM_BINARY_LENGTH, &length);
    huevance::Buffer<unsigned char> file;
    GLenum format = 0;
    if (length <= 0 || !file.allocate(sizeof(format) + static_cast<std::size_t>(length))) {
        return -1;
    }
    GLsizei written = 0;
    GL_CALL(glGetProgramBinary, m_program, length, &written, &format, file.get() + sizeof(format));
    if (written == 0) {
        return -1;
    }
    std::memcpy(file.get(), &format, sizeof(format));
    return saveFile(path, {{file.get(), sizeof(format) + static_cast<std::size_t>(written)}}) ? 0 : -1;
}

void GLShaderProgram::release() {
    if (isBuilt()) {
        GL_CALL(glDeleteProgram, m_program);
        m_program = 0;
    }
}
