// One colour for the whole overlay.
uniform lowp vec4 color;

void main()
{
    gl_FragColor = color;
}
