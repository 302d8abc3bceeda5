
    // curvemap
    uniform sampler2D yCurvemapTexture;
    uniform sampler2D uvCurvemapTexture;

    vec4 curvemap(vec4 yuv)
    {
        float y = texture(yCurvemapTexture,  vec2(yuv.r, 0.0)).g;
        float u = texture(uvCurvemapTexture, vec2(yuv.g, 0.0)).g;
        float v = texture(uvCurvemapTexture, vec2(yuv.b, 0.0)).g;

        return vec4(y, u, v, 1.0);
    }
