// A picture that is RGB already; hsl.glsl goes in front of it.
varying mediump vec2 picturePoint;
uniform sampler2D picture;
uniform mediump vec3 hslChange;

void main()
{
    gl_FragColor = vec4(changeHsl(texture2D(picture, picturePoint).rgb, hslChange), 1.0);
}
