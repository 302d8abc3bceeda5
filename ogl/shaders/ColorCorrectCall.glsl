
        dstYuv = color_corr(srcYuv, dstYuv);
