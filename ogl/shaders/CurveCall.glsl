
        dstYuv = curvemap(dstYuv);
