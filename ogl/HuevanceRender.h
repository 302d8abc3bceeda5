// One full-frame draw with the composed shader: a YUV frame in textures becomes an enhanced YUV frame in
// whatever framebuffer the caller has bound. All calls need the engine to be current; operations return 0
// unless they say otherwise.
#pragma once

#include <array>

#include "jni/algocommon/ImageTypes.h"
#include "ogl/GLShaderProgram.h"
#include "ogl/GLTexture.h"
#include "ogl/Object.h"

class HuevanceRender : public Object {
public:
    HuevanceRender();

    // Composes and builds the shader, once: another switch, mask type or format needs another renderer. On
    // purpose 0 also when the shader does not build or its variables cannot be looked up, which is logged:
    // process then fails.
    int init(IMAGE_FORMAT_TYPE format, int maskType, bool clahe, bool curve, bool colorCorr, bool colormap,
             bool mask);

    // Four (x, y) pairs each, in strip order. The arrays stay the caller's and must live until process
    // returns.
    int setPosVertices(const float* vertices);
    int setTexVertices(const float* vertices);
    // Pixels of the luma plane; tiles.
    int setImageSize(int width, int height);
    int setGridSize(int gridWidth, int gridHeight);
    // What the enabled stages look up; a stage without its texture is a caller's error. Textures of
    // GL_LUMINANCE: tiles x 256, 256 x 1, any size for the mask (1 keeps the enhanced value); of GL_RGB: 16 x
    // 16 x 16 with the axes Y, U, V.
    int setClahemap(GLTexture2D* texture);
    int setCurvemap(GLTexture2D* y, GLTexture2D* uv);
    // Strength 1 keeps the input, 0 takes the looked-up colour in full.
    int setColormap(GLTexture3D* texture, float strength);
    int setMaskmap(GLTexture2D* texture);

    // Whether the shader was built. If not, process fails: there is no need to prepare its target.
    bool isBuilt() const { return m_program->isBuilt(); }
    // Draws into the rectangle. y: GL_LUMINANCE; uv: GL_LUMINANCE_ALPHA of half the size. 0, or -1 without a
    // program.
    int process(GLTexture2D* yTexture, GLTexture2D* uvTexture, int x, int y, int width, int height);

    // Deletes the program. The textures are let go by the destructor.
    int destroy();

private:
    bool usesMask(int type) const { return m_bUseMask && m_iMaskType == type; }
    void lookUpLocations();
    void setClaheUniforms();
    void bindTexture(int location, int unit, const GLTexture2D* texture);

    smart_pointer<GLShaderProgram> m_program;
    int m_iPosition = 0;
    int m_iTexcoord = 0;
    int m_iYTextureLoc = 0;
    int m_iUvTextureLoc = 0;
    int m_iClahemapLoc = 0;
    int m_iYCurvemapLoc = 0;
    int m_iUvCurvemapLoc = 0;
    int m_iColormapLoc = 0;
    int m_iMaskmapLoc = 0;
    const float* m_pfPosVertices = nullptr;
    const float* m_pfTexVertices = nullptr;
    IMAGE_FORMAT_TYPE m_eFormat = {};
    int m_iMaskType = 0;
    bool m_bUseClahe = false;
    bool m_bUseCurve = false;
    bool m_bUseColorCorr = false;
    bool m_bUseColormap = false;
    bool m_bUseMask = false;
    int m_iImageWidth = 0;
    int m_iImageHeight = 0;
    int m_iGridWidth = 8;
    int m_iGridHeight = 6;
    int m_iBlockWidth = 0;
    int m_iBlockHeight = 0;
    int m_iBlockHalWidth = 0;
    int m_iBlockHalHeight = 0;
    int m_iValidWidth = 0;
    int m_iValidHeight = 0;
    float m_fRowScale = 0.0F;
    float m_fColScale = 0.0F;
    float m_fColormapStrength = 0.0F;
    smart_pointer<GLTexture2D> m_clahemap;
    smart_pointer<GLTexture2D> m_yCurvemap;
    smart_pointer<GLTexture2D> m_uvCurvemap;
    smart_pointer<GLTexture3D> m_colormap;
    smart_pointer<GLTexture2D> m_maskmap;

    // Locations of the float uniforms, looked up once.
    std::array<int, 10> m_aiClaheLocs = {};
    int m_iHalfLevelLoc = 0;
    int m_iColormapStrengthLoc = 0;
    std::array<int, 5> m_aiSkinLocs = {};
};
