#include "FlatProgram.h"

#include <QOpenGLShaderProgram>

ShaderProgram BuildFlatProgram(const GlProfile& profile)
{
    return BuildShaderProgram(profile,
                              "attribute vec4 vertexIn;\n"
                              "attribute vec4 colorIn;\n"
                              "varying vec4 color;\n"
                              "void main(void)\n"
                              "{\n"
                              "gl_Position = vertexIn;\n"
                              "color = colorIn;\n"
                              "}\n",
                              MediumPrecision + QByteArray("varying vec4 color;\n"
                                                           "void main(void)\n"
                                                           "{\n"
                                                           "gl_FragColor = color;\n"
                                                           "}\n"),
                              "colorIn");
}
