
    // color correction
    uniform float halfLevel;

    vec4 color_corr(vec4 srcYuv, vec4 dstYuv)
    {
        float sY = srcYuv.r * 255.0;
        float dY = dstYuv.r * 255.0;

        float sU = srcYuv.g * 255.0 - halfLevel;
        float dU = dstYuv.g * 255.0;

        float sV = srcYuv.b * 255.0 - halfLevel;
        float dV = dstYuv.b * 255.0;

        float c0 = sqrt(sU * sU + sV * sV);
        float ce = c0 * sY / (dY + 0.0000001);
        float e = sqrt((ce * ce + dY * dY) / (c0 * c0 + sY * sY + 0.0000001));
        e = clamp(e, 0.5, 2.0);

        float fU = abs(sU);
        float fV = abs(sV);
        float maxR = fU > fV ? fU : fV;
        maxR = (halfLevel - 1.0) / (maxR + 0.0000001);
        e = e < maxR ? e : maxR;

        float dstU = (sU * e + halfLevel) / 255.0;
        float dstV = (sV * e + halfLevel) / 255.0;

        return vec4(dstYuv.r, dstU, dstV, 1.0);
    }
