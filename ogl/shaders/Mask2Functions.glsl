
    // make mask2
    uniform float fu1;
    uniform float fv1;
    uniform float fu2;
    uniform float fv2;
    uniform float fa;

    float get_skin(vec4 yuv)
    {
        float fd1 = (yuv.g - fu1) * (yuv.g - fu1) + (yuv.b - fv1) * (yuv.b - fv1);
        float fd2 = (yuv.g - fu2) * (yuv.g - fu2) + (yuv.b - fv2) * (yuv.b - fv2);
        float fd = sqrt(fd1) + sqrt(fd2);
        float skinColor = 2.0 * fa / (fd + 0.0000001);
        return skinColor = skinColor <= 1.0 ? skinColor : 1.0;
    }
