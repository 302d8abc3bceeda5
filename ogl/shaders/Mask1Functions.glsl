
    // make mask1
    uniform sampler2D maskmapTexture;
