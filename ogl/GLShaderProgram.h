// Owner of one shader program.
#pragma once

#include "ogl/GLHeaders.h"
#include "ogl/Object.h"

class GLShaderProgram : public Object {
public:
    GLShaderProgram() = default;
    ~GLShaderProgram() override;

    // Compiles and links, or loads a binary; replaces the program. 0, or -1 with a log line and no program.
    int init(const char* vertex, const char* fragment);
    int init(const void* programBinary, unsigned binaryFormat, int length);

    bool isBuilt() const { return m_program != 0; }
    // Makes the program current. False without a program.
    bool beginDraw();
    void setViewport(int x, int y, int width, int height);
    // glVertexAttribPointer, then glEnableVertexAttribArray. The pointer is to client memory, which stays the
    // caller's.
    void enableVertexAttribArray(unsigned index, int size, unsigned type, bool normalized, int stride,
                                 const void* pointer);
    void disableVertexAttribArray(unsigned index);
    // glDrawArrays.
    void endDraw(unsigned mode, int first, int count);

    // Each looks the location up by name; the program must be current.
    void set(const char* name, int a);
    void set(const char* name, int a, int b);
    void set(const char* name, int a, int b, int c);
    void set(const char* name, int a, int b, int c, int d);
    void set(const char* name, float a);
    void set(const char* name, float a, float b);
    void set(const char* name, float a, float b, float c);
    void set(const char* name, float a, float b, float c, float d);
    void setMatrix2(const char* name, int count, bool transpose, const float* values);
    void setMatrix3(const char* name, int count, bool transpose, const float* values);
    void setMatrix4(const char* name, int count, bool transpose, const float* values);
    // The same for a location that is known.
    void setUniform(int location, float value);

    // Binds the texture to its target of a texture unit and the sampler to the unit.
    void setTarget(int location, int unit, unsigned texture, unsigned target);

    int getAttribLocation(const char* name);
    int getUniformLocation(const char* name);

    // Writes the linked program: its binary's format (4 bytes), then the binary. 0, or -1 when nothing was
    // written.
    int saveToBinary(const char* path);
    // Deletes the program.
    void release();

private:
    GLuint m_program = 0;
};
