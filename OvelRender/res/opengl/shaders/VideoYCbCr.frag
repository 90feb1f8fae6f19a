// A planar 4:2:0 picture; colorspace.glsl and hsl.glsl go in front of it.
varying mediump vec2 picturePoint;
uniform sampler2D planeY;
uniform sampler2D planeU;
uniform sampler2D planeV;
uniform mediump vec3 hslChange;

void main()
{
    mediump vec3 yuv = vec3(texture2D(planeY, picturePoint).r, texture2D(planeU, picturePoint).r,
                            texture2D(planeV, picturePoint).r);
    gl_FragColor = vec4(changeHsl(yuvToRgb(yuv), hslChange), 1.0);
}
