// The fragment shader of a set of stages. A pure function of its arguments.
#pragma once

#include <string>

#include "core/Stages.h"
#include "jni/algocommon/ImageTypes.h"

namespace ogl {

// Mask types of the shader; any other value adds no mask.
enum : int { kMaskTexture = 1, kMaskSkinModel = 2 };

// The functions of the stages that are on, the main function of the chroma order, the calls of the stages in
// their order, the blend with the mask. A format other than NV21 and NV12 has no main function, on purpose:
// such a shader does not link.
std::string composeFragmentShader(IMAGE_FORMAT_TYPE format, int maskType, const huevance::StageSwitches& on);

}  // namespace ogl
