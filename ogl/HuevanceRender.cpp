#include "ogl/HuevanceRender.h"

#include <algorithm>
#include <cstdint>

#include "ogl/ClaheTable.h"
#include "ogl/GLUtils.h"
#include "ogl/ShaderComposer.h"
#include "ogl/ShaderTexts.h"

namespace {

enum : int { kUnitY, kUnitUv, kUnitClahe, kUnitYCurve, kUnitUvCurve, kUnitColor, kUnitMask };

// In the order in which they are set.
constexpr std::array kClaheUniforms = {"imageWidth",    "imageHeight",    "gridWidth",  "gridHeight",
                                       "blockHalWidth", "blockHalHeight", "validWidth", "validHeight",
                                       "rowScale",      "colScale"};

// Two foci and the half-axis of an ellipse of skin colours in normalised (U, V).
constexpr std::array kSkinUniforms = {"fu1", "fv1", "fu2", "fv2", "fa"};
constexpr std::array kSkinValues = {0.40378553F, 0.6445681F, 0.48221445F, 0.5714319F, 0.07F};

constexpr float kHalfLevel = 128.0F;

// The span between the first and the last block: on purpose less a block's size without its lowest bit.
int validSize(int block, int grid) { return block * grid - (block & ~1); }

float scaleOf(std::int64_t grid, std::int64_t valid) {  // wide enough for every int
    return static_cast<float>(grid - 1) / static_cast<float>(valid - 1);
}

template <std::size_t N>
std::array<int, N> locationsOf(GLShaderProgram& program, const std::array<const char*, N>& names) {
    std::array<int, N> locations;
    std::transform(names.begin(), names.end(), locations.begin(),
                   [&](const char* name) { return program.getUniformLocation(name); });
    return locations;
}

template <std::size_t N>
void setUniforms(GLShaderProgram& program, const std::array<int, N>& locations,
                 const std::array<float, N>& values) {
    for (std::size_t i = 0; i < N; ++i) {
        program.setUniform(locations[i], values[i]);
    }
}

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
    const unsigned failures = GLUtils::failedChecks();
    if (m_program->init(kShaderVertex, fragment.c_str()) == 0) {
        lookUpLocations();
        if (GLUtils::failedChecks() != failures) {
            m_program->release();  // it would draw with what it did not find
        }
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
        m_aiClaheLocs = locationsOf(program, kClaheUniforms);
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
    if (usesMask(ogl::kMaskTexture)) {
        m_iMaskmapLoc = program.getUniformLocation("maskmapTexture");
    }
    if (usesMask(ogl::kMaskSkinModel)) {
        m_aiSkinLocs = locationsOf(program, kSkinUniforms);
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

void HuevanceRender::bindTexture(int location, int unit, const GLTexture2D* texture) {
    m_program->setTarget(location, unit, texture != nullptr ? texture->name() : 0, GL_TEXTURE_2D);
}

void HuevanceRender::setClaheUniforms() {
    const ogl::ClaheGrid grid = ogl::claheGrid(m_iImageWidth, m_iImageHeight, m_iGridWidth, m_iGridHeight);
    m_iBlockWidth = grid.blockWidth;
    m_iBlockHeight = grid.blockHeight;
    m_iBlockHalWidth = m_iBlockWidth >> 1;
    m_iBlockHalHeight = m_iBlockHeight >> 1;
    m_iValidWidth = validSize(m_iBlockWidth, m_iGridWidth);
    m_iValidHeight = validSize(m_iBlockHeight, m_iGridHeight);
    m_fRowScale = scaleOf(m_iGridHeight, m_iValidHeight);
    m_fColScale = scaleOf(m_iGridWidth, m_iValidWidth);
    const auto real = [](int value) { return static_cast<float>(value); };
    setUniforms<10>(*m_program, m_aiClaheLocs,
                    {real(m_iImageWidth), real(m_iImageHeight), real(m_iGridWidth), real(m_iGridHeight),
                     real(m_iBlockHalWidth), real(m_iBlockHalHeight), real(m_iValidWidth),
                     real(m_iValidHeight), m_fRowScale, m_fColScale});
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
    if (usesMask(ogl::kMaskSkinModel)) {
        setUniforms(program, m_aiSkinLocs, kSkinValues);
    }
    if (usesMask(ogl::kMaskTexture)) {
        bindTexture(m_iMaskmapLoc, kUnitMask, m_maskmap.get());
    }
    program.endDraw(GL_TRIANGLE_STRIP, 0, 4);
    return 0;
}

int HuevanceRender::destroy() {
    m_program->release();
    return 0;
}
