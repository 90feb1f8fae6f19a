// A textured quad under one matrix.
attribute highp vec4 position;
attribute mediump vec2 pictureCoordinate;
uniform highp mat4 matrix;
varying mediump vec2 picturePoint;

void main()
{
    gl_Position = matrix * position;
    picturePoint = pictureCoordinate;
}
