
        outColor = dstYuv;
    }
