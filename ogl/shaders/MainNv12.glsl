
    /*************************************MAIN***************************************/
    void main()
    {
        vec4 uvColor = texture(uvTexture, v_texCoord);
        float y = texture(yTexture, v_texCoord).r;
        float v = uvColor.a;
        float u = uvColor.g;
        vec4 srcYuv = vec4(y, u, v, 1.0);
        vec4 dstYuv = srcYuv;
