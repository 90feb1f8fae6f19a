// Full-range YUV to RGB, all components from 0 to 1.
mediump vec3 yuvToRgb(mediump vec3 yuv)
{
    mediump vec2 chroma = yuv.yz - 0.5;
    return clamp(vec3(yuv.x + 1.4075 * chroma.y, yuv.x - 0.3455 * chroma.x - 0.7169 * chroma.y,
                      yuv.x + 1.779 * chroma.x),
                 0.0, 1.0);
}
