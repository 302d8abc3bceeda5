
    // clahemap
    uniform sampler2D clahemapTexture;
    uniform float imageWidth;
    uniform float imageHeight;
    uniform float gridWidth;
    uniform float gridHeight;
    uniform float blockHalWidth;
    uniform float blockHalHeight;
    uniform float validWidth;
    uniform float validHeight;
    uniform float rowScale;
    uniform float colScale;

    vec4 clahemap(vec4 yuv)
    {
        float row = clamp(v_texCoord.y * (imageHeight - 1.0) - blockHalHeight, 0.0, validHeight - 1.0);
        float col = clamp(v_texCoord.x * (imageWidth  - 1.0) - blockHalWidth,  0.0, validWidth  - 1.0);

        float scaleR = row * rowScale;
        float scaleC = col * colScale;

        float leftScaleR = floor(scaleR);
        float leftScaleC = floor(scaleC);

        float rightScaleR = clamp(leftScaleR + 1.0, 0.0, gridHeight - 1.0);
        float rightScaleC = clamp(leftScaleC + 1.0, 0.0, gridWidth  - 1.0);

        float rightWeightR = scaleR - leftScaleR;
        float leftWeightR = 1.0 - rightWeightR;

        float rightWeightC = scaleC - leftScaleC;
        float leftWeightC = 1.0 - rightWeightC;

        leftScaleR = leftScaleR / (gridHeight - 1.0);
        leftScaleC = leftScaleC / (gridWidth  - 1.0);

        rightScaleR = rightScaleR / (gridHeight - 1.0);
        rightScaleC = rightScaleC / (gridWidth  - 1.0);

        float v00 = texture(clahemapTexture, vec2(leftScaleR *  leftScaleC,  yuv.r)).g;
        float v01 = texture(clahemapTexture, vec2(leftScaleR *  rightScaleC, yuv.r)).g;
        float v10 = texture(clahemapTexture, vec2(rightScaleR * leftScaleC,  yuv.r)).g;
        float v11 = texture(clahemapTexture, vec2(rightScaleR * rightScaleC, yuv.r)).g;

        float dstY = (v00 * leftWeightC + v01 * rightWeightC) * leftWeightR +
                     (v10 * leftWeightC + v11 * rightWeightC) * rightWeightR;

        return vec4(dstY, yuv.g, yuv.b, 1.0);
    }
