#include "ogl/ShaderComposer.h"

#include "ogl/ShaderTexts.h"

namespace ogl {

namespace {

struct StageTexts {
    const char* functions;
    const char* call;
};

StageTexts textsOf(huevance::Stage stage, int maskType) {
    switch (stage) {
        case huevance::Stage::kClahe:
            return {kShaderClaheFunctions, kShaderClaheCall};
        case huevance::Stage::kCurve:
            return {kShaderCurveFunctions, kShaderCurveCall};
        case huevance::Stage::kColorCorrect:
            return {kShaderColorCorrectFunctions, kShaderColorCorrectCall};
        case huevance::Stage::kColorMap:
            return {kShaderColorMapFunctions, kShaderColorMapCall};
        case huevance::Stage::kPortraitProtect:
            break;
    }
    switch (maskType) {
        case kMaskTexture:
            return {kShaderMask1Functions, kShaderMask1Blend};
        case kMaskSkinModel:
            return {kShaderMask2Functions, kShaderMask2Blend};
        default:
            return {"", ""};
    }
}

const char* mainOf(IMAGE_FORMAT_TYPE format) {
    switch (format) {
        case IMAGE_FORMAT_TYPE_NV21:
            return kShaderMainNv21;
        case IMAGE_FORMAT_TYPE_NV12:
            return kShaderMainNv12;
        default:
            return "";
    }
}

}  // namespace

std::string composeFragmentShader(IMAGE_FORMAT_TYPE format, int maskType, const huevance::StageSwitches& on) {
    const huevance::StagePlan plan = huevance::planCapture(on);
    std::string text = kShaderHeader;
    for (const huevance::Stage stage : plan) {
        text += textsOf(stage, maskType).functions;
    }
    text += mainOf(format);
    for (const huevance::Stage stage : plan) {
        text += textsOf(stage, maskType).call;
    }
    return text + kShaderClosing;
}

}  // namespace ogl
