

        // make mask2
        float mask = get_skin(srcYuv);
        dstYuv = mix(srcYuv, dstYuv, mask);
