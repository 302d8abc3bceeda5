

        // make mask1
        vec4 mask = texture(maskmapTexture, v_texCoord);
        dstYuv = mix(srcYuv, dstYuv, mask);
