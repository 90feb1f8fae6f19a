#include "YuvProgram.h"

#include <QOpenGLShaderProgram>

#include <memory>

namespace
{

#define FRAGMENT_PRECISION                                                                                   \
    "#ifdef GL_ES\n"                                                                                         \
    "precision mediump int;\n"                                                                               \
    "precision mediump float;\n"                                                                             \
    "#endif\n"

#define VERTEX_TEXT(uniforms, textureType, position)                                                         \
    uniforms "attribute vec4 vertexIn;\n"                                                                    \
             "attribute " textureType " textureIn;\n"                                                        \
             "varying " textureType " textureOut;\n"                                                         \
             "void main(void)\n"                                                                             \
             "{\n"                                                                                           \
             "gl_Position = " position ";\n"                                                                 \
             "textureOut = textureIn;\n"                                                                     \
             "}\n"

// A flat colour in the place of the picture; known to programs whatever they are used for.
#define DRAW_FLAG_UNIFORMS(alphaUniform)                                                                     \
    "uniform int u_iDrawFlag;\n" alphaUniform "uniform vec3 u_vDrawColor;\n"
#define DRAW_FLAG_COLOR(alpha)                                                                               \
    "if (1 == u_iDrawFlag) {\n"                                                                              \
    "gl_FragColor = vec4(u_vDrawColor, " alpha ");\n"                                                        \
    "}\n"

#define THREE_PLANE_FRAGMENT_TEXT(uniforms, color)                                                           \
    FRAGMENT_PRECISION                                                                                       \
    "varying vec2 textureOut;\n"                                                                             \
    "uniform sampler2D tex_y;\n"                                                                             \
    "uniform sampler2D tex_u;\n"                                                                             \
    "uniform sampler2D tex_v;\n" uniforms "void main(void)\n"                                                \
    "{\n"                                                                                                    \
    "vec3 yuv;\n"                                                                                            \
    "vec3 rgb;\n"                                                                                            \
    "yuv.x = texture2D(tex_y, textureOut).r;\n"                                                              \
    "yuv.y = texture2D(tex_u, textureOut).r - 0.5;\n"                                                        \
    "yuv.z = texture2D(tex_v, textureOut).r - 0.5;\n"                                                        \
    "rgb = mat3(1.0, 1.0, 1.0, 0.0, -0.3455, 1.779, 1.4075, -0.7169, 0) * yuv;\n"                            \
    "gl_FragColor = vec4(rgb, 1);\n" color "}\n"

#define NV12_FRAGMENT_TEXT(uniforms, color)                                                                  \
    FRAGMENT_PRECISION                                                                                       \
    "varying highp vec4 textureOut;\n"                                                                       \
    "uniform sampler2D tex_y;\n"                                                                             \
    "uniform sampler2D tex_u;\n"                                                                             \
    "varying mediump float angle;\n" uniforms "void main(void) {\n"                                          \
    "highp vec3 yuv;\n"                                                                                      \
    "highp vec3 rgb;\n"                                                                                      \
    "yuv.x = texture2D(tex_y, textureOut.st).r - 0.0625;\n"                                                  \
    "yuv.y = texture2D(tex_u, textureOut.st).r - 0.5;\n"                                                     \
    "yuv.z = texture2D(tex_u, textureOut.st).g - 0.5;\n"                                                     \
    "rgb = mat3(1, 1, 1, 0, -0.39465, 2.03211, 1.13983, -0.58060, 0) * yuv;\n"                               \
    "gl_FragColor = vec4(rgb, 1);\n" color "}\n"

#define WITH_MATRIX "uniform mat4 u_Matrix;\n"
#define MATRIX_POSITION "u_Matrix * vertexIn"
#define WITH_ALPHA "uniform float u_fDrawAlpha;\n"

struct ProgramText {
    const char* vertex;
    const char* fragment;
};

#define FULL_FRAME_UNIFORMS DRAW_FLAG_UNIFORMS(WITH_ALPHA)
#define FULL_FRAME_COLOR DRAW_FLAG_COLOR("u_fDrawAlpha")
#define SUB_IMAGE_UNIFORMS DRAW_FLAG_UNIFORMS("")
#define SUB_IMAGE_COLOR DRAW_FLAG_COLOR("0")

// [kind][layout]
constexpr ProgramText YuvTexts[3][2] = {
    {{VERTEX_TEXT(WITH_MATRIX, "vec2", MATRIX_POSITION),
      THREE_PLANE_FRAGMENT_TEXT(FULL_FRAME_UNIFORMS, FULL_FRAME_COLOR)},
     {VERTEX_TEXT(WITH_MATRIX, "vec4", MATRIX_POSITION),
      NV12_FRAGMENT_TEXT(FULL_FRAME_UNIFORMS, FULL_FRAME_COLOR)}},
    {{VERTEX_TEXT("", "vec2", "vertexIn"), THREE_PLANE_FRAGMENT_TEXT(SUB_IMAGE_UNIFORMS, SUB_IMAGE_COLOR)},
     {VERTEX_TEXT("", "vec4", "vertexIn"), NV12_FRAGMENT_TEXT(SUB_IMAGE_UNIFORMS, SUB_IMAGE_COLOR)}},
    {{VERTEX_TEXT("", "vec2", "vertexIn"), THREE_PLANE_FRAGMENT_TEXT("", "")},
     {VERTEX_TEXT("", "vec4", "vertexIn"), NV12_FRAGMENT_TEXT("", "")}},
};

constexpr ProgramText FlatText = {"attribute vec4 vertexIn;\n"
                                  "attribute vec4 colorIn;\n"
                                  "varying vec4 color;\n"
                                  "void main(void)\n"
                                  "{\n"
                                  "gl_Position = vertexIn;\n"
                                  "color = colorIn;\n"
                                  "}\n",
                                  FRAGMENT_PRECISION "varying vec4 color;\n"
                                                     "void main(void)\n"
                                                     "{\n"
                                                     "gl_FragColor = color;\n"
                                                     "}\n"};

BuiltProgram Build(const GlProfile& profile, const ProgramText& text, const char* secondAttribute)
{
    auto program = std::make_unique<QOpenGLShaderProgram>();
    QString failure;
    const auto step = [&](bool done, const char* stage) {
        if (!done && failure.isEmpty())
            failure = QLatin1String(stage) + QLatin1String(": ") + program->log().trimmed();
    };
    step(program->addShaderFromSourceCode(QOpenGLShader::Vertex,
                                          QByteArray(profile.vertexPrelude) + text.vertex),
         "vertex shader");
    step(program->addShaderFromSourceCode(QOpenGLShader::Fragment,
                                          QByteArray(profile.fragmentPrelude) + text.fragment),
         "fragment shader");
    program->bindAttributeLocation("vertexIn", 0);
    program->bindAttributeLocation(secondAttribute, 1);
    step(program->link(), "link");
    return {program.release(), failure};
}

} // namespace

BuiltProgram BuildYuvProgram(const GlProfile& profile, YuvLayout layout, YuvProgramKind kind)
{
    return Build(profile, YuvTexts[static_cast<int>(kind)][layout == YuvLayout::Nv12], "textureIn");
}

BuiltProgram BuildFlatProgram(const GlProfile& profile)
{
    return Build(profile, FlatText, "colorIn");
}
