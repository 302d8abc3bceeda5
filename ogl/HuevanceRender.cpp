#include "ogl/HuevanceRender.h"

#include <iterator>

#include "ogl/ShaderComposer.h"
#include "ogl/ShaderTexts.h"

namespace {

enum : int { kUnitY, kUnitUv, kUnitClahe, kUnitYCurve, kUnitUvCurve, kUnitColor, kUnitMask };

// In the order in which they are set.
constexpr const char* kClaheUniforms[] = {"imageWidth",    "imageHeight",    "gridWidth",  "gridHeight",
                                          "blockHalWidth", "blockHalHeight", "validWidth", "validHeight",
                                          "rowScale",      "colScale"};

// Two foci and the half-axis of an ellipse of skin colours in normalised (U, V).
struct SkinUniform {
    const char* name;
    float value;
};
constexpr SkinUniform kSkinUniforms[] = {
    {"fu1", 0.40378553F}, {"fv1", 0.6445681F}, {"fu2", 0.48221445F}, {"fv2", 0.5714319F}, {"fa", 0.07F}};

constexpr float kHalfLevel = 128.0F;

int divide(int value, int divisor) { return divisor != 0 ? value / divisor : 0; }

// The span between the first and the last block: on purpose less a block's size without its lowest bit.
int validSize(int block, int grid) { return block * grid - (block & ~1); }

float scaleOf(int grid, int valid) { return static_cast<float>(grid - 1) / static_cast<float>(valid - 1); }

}  // namespace

HuevanceRender::HuevanceRender() : m_program(new GLShaderProgram) {}

int HuevanceRender::init(IMAGE_FORMAT_TYPE format, int maskType, bool clahe, bool curve, bool colorCorr,
                         bool colormap, bool mask) {
    m_eFormat = format;
    m_iMaskType = maskType;
    m_bUseClahe = clahe;
    m_bUseCurve = curve;
    m_bUseColorCorr = colorCorr;
    m_bUseColormap = colormap;
    m_bUseMask = mask;
    const std::string fragment =
        ogl::composeFragmentShader(format, maskType, {clahe, curve, colorCorr, colormap, mask});
    if (m_program->init(kShaderVertex, fragment.c_str()) == 0) {
        lookUpLocations();
    }
    return 0;
}

void HuevanceRender::lookUpLocations() {
    GLShaderProgram& program = *m_program;
    m_iPosition = program.getAttribLocation("a_position");
    m_iTexcoord = program.getAttribLocation("a_texcoord");
    m_iYTextureLoc = program.getUniformLocation("yTexture");
    m_iUvTextureLoc = program.getUniformLocation("uvTexture");
    if (m_bUseClahe) {
        m_iClahemapLoc = program.getUniformLocation("clahemapTexture");
        for (std::size_t i = 0; i < std::size(kClaheUniforms); ++i) {
            m_aiClaheLocs[i] = program.getUniformLocation(kClaheUniforms[i]);
        }
    }
    if (m_bUseCurve) {
        m_iYCurvemapLoc = program.getUniformLocation("yCurvemapTexture");
        m_iUvCurvemapLoc = program.getUniformLocation("uvCurvemapTexture");
    }
    if (m_bUseColorCorr) {
        m_iHalfLevelLoc = program.getUniformLocation("halfLevel");
    }
    if (m_bUseColormap) {
        m_iColormapLoc = program.getUniformLocation("colormapTexture");
        m_iColormapStrengthLoc = program.getUniformLocation("colormapStrength");
    }
    if (m_bUseMask && m_iMaskType == ogl::kMaskTexture) {
        m_iMaskmapLoc = program.getUniformLocation("maskmapTexture");
    }
    if (m_bUseMask && m_iMaskType == ogl::kMaskSkinModel) {
        for (std::size_t i = 0; i < std::size(kSkinUniforms); ++i) {
            m_aiSkinLocs[i] = program.getUniformLocation(kSkinUniforms[i].name);
        }
    }
}

int HuevanceRender::setPosVertices(const float* vertices) {
    m_pfPosVertices = vertices;
    return 0;
}

int HuevanceRender::setTexVertices(const float* vertices) {
    m_pfTexVertices = vertices;
    return 0;
}

int HuevanceRender::setImageSize(int width, int height) {
    m_iImageWidth = width;
    m_iImageHeight = height;
    return 0;
}

int HuevanceRender::setGridSize(int gridWidth, int gridHeight) {
    m_iGridWidth = gridWidth;
    m_iGridHeight = gridHeight;
    return 0;
}

int HuevanceRender::setClahemap(GLTexture2D* texture) {
    m_clahemap = texture;
    return 0;
}

int HuevanceRender::setCurvemap(GLTexture2D* y, GLTexture2D* uv) {
    m_yCurvemap = y;
    m_uvCurvemap = uv;
    return 0;
}

int HuevanceRender::setColormap(GLTexture3D* texture, float strength) {
    m_colormap = texture;
    m_fColormapStrength = strength;
    return 0;
}

int HuevanceRender::setMaskmap(GLTexture2D* texture) {
    m_maskmap = texture;
    return 0;
}

void HuevanceRender::bindTexture(int location, int unit, GLTexture2D* texture) {
    m_program->setTarget(location, unit, texture != nullptr ? texture->name() : 0, GL_TEXTURE_2D);
}

void HuevanceRender::setClaheUniforms() {
    m_iBlockWidth = divide(m_iImageWidth, m_iGridWidth);
    m_iBlockHeight = divide(m_iImageHeight, m_iGridHeight);
    m_iBlockHalWidth = m_iBlockWidth >> 1;
    m_iBlockHalHeight = m_iBlockHeight >> 1;
    m_iValidWidth = validSize(m_iBlockWidth, m_iGridWidth);
    m_iValidHeight = validSize(m_iBlockHeight, m_iGridHeight);
    m_fRowScale = scaleOf(m_iGridHeight, m_iValidHeight);
    m_fColScale = scaleOf(m_iGridWidth, m_iValidWidth);
    const int integers[] = {m_iImageWidth,    m_iImageHeight,    m_iGridWidth,  m_iGridHeight,
                            m_iBlockHalWidth, m_iBlockHalHeight, m_iValidWidth, m_iValidHeight};
    const int* location = m_aiClaheLocs;
    for (const int value : integers) {
        m_program->setUniform(*location++, static_cast<float>(value));
    }
    m_program->setUniform(*location++, m_fRowScale);
    m_program->setUniform(*location, m_fColScale);
}

int HuevanceRender::process(GLTexture2D* yTexture, GLTexture2D* uvTexture, int x, int y, int width,
                            int height) {
    GLShaderProgram& program = *m_program;
    if (!program.beginDraw()) {
        return -1;
    }
    program.setViewport(x, y, width, height);
    program.enableVertexAttribArray(static_cast<unsigned>(m_iPosition), 2, GL_FLOAT, false, 0,
                                    m_pfPosVertices);
    program.enableVertexAttribArray(static_cast<unsigned>(m_iTexcoord), 2, GL_FLOAT, false, 0,
                                    m_pfTexVertices);
    bindTexture(m_iYTextureLoc, kUnitY, yTexture);
    bindTexture(m_iUvTextureLoc, kUnitUv, uvTexture);
    if (m_bUseClahe) {
        setClaheUniforms();
        bindTexture(m_iClahemapLoc, kUnitClahe, m_clahemap.get());
    }
    if (m_bUseCurve) {
        bindTexture(m_iYCurvemapLoc, kUnitYCurve, m_yCurvemap.get());
        bindTexture(m_iUvCurvemapLoc, kUnitUvCurve, m_uvCurvemap.get());
    }
    if (m_bUseColorCorr) {
        program.setUniform(m_iHalfLevelLoc, kHalfLevel);
    }
    if (m_bUseColormap) {
        program.setUniform(m_iColormapStrengthLoc, m_fColormapStrength);
        program.setTarget(m_iColormapLoc, kUnitColor, m_colormap ? m_colormap->name() : 0, GL_TEXTURE_3D);
    }
    if (m_bUseMask && m_iMaskType == ogl::kMaskSkinModel) {
        for (std::size_t i = 0; i < std::size(kSkinUniforms); ++i) {
            program.setUniform(m_aiSkinLocs[i], kSkinUniforms[i].value);
        }
    }
    if (m_bUseMask && m_iMaskType == ogl::kMaskTexture) {
        bindTexture(m_iMaskmapLoc, kUnitMask, m_maskmap.get());
    }
    program.endDraw(GL_TRIANGLE_STRIP, 0, 4);
    return 0;
}

int HuevanceRender::destroy() {
    m_program->release();
    return 0;
}
