#version 320 es
    #extension GL_OES_EGL_image_external_essl3 : require
    #extension GL_EXT_YUV_target : require
    precision highp float;
    precision highp sampler3D;
    uniform sampler2D yTexture;
    uniform sampler2D uvTexture;
    in vec2 v_texCoord;
    layout(yuv) out vec4 outColor;
