
    // colormap
    uniform sampler3D colormapTexture;
    uniform float colormapStrength;

    vec4 colormap(vec4 yuv)
    {
        vec4 dstYuv = texture(colormapTexture, yuv.rgb);
        return mix(dstYuv, yuv, colormapStrength);
    }
