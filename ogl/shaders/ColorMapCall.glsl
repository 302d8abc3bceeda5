
        dstYuv = colormap(dstYuv);
