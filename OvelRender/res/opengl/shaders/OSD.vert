// Overlay points in widget pixels, origin at the top left.
attribute highp vec2 point;
uniform highp vec2 widgetSize;

void main()
{
    highp vec2 share = point / widgetSize;
    gl_Position = vec4(2.0 * share.x - 1.0, 1.0 - 2.0 * share.y, 0.0, 1.0);
}
