
        dstYuv = clahemap(dstYuv);
