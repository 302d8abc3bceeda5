// The shader texts under ogl/shaders/, embedded by the build character for character. They decide this back
// end's look: do not tidy them.
#pragma once

extern const char kShaderVertex[];
extern const char kShaderHeader[];
extern const char kShaderClaheFunctions[];
extern const char kShaderCurveFunctions[];
extern const char kShaderColorCorrectFunctions[];
extern const char kShaderColorMapFunctions[];
extern const char kShaderMask1Functions[];
extern const char kShaderMask2Functions[];
extern const char kShaderMainNv12[];
extern const char kShaderMainNv21[];
extern const char kShaderClaheCall[];
extern const char kShaderCurveCall[];
extern const char kShaderColorCorrectCall[];
extern const char kShaderColorMapCall[];
extern const char kShaderMask1Blend[];
extern const char kShaderMask2Blend[];
extern const char kShaderClosing[];
