#include "PictureProgram.h"

#include <QOpenGLShaderProgram>

namespace
{

// What a kind adds to the picture: a matrix, and a flat colour in the place of the picture, known to programs
// whatever they are used for.
struct KindTexts {
    const char* vertexUniforms;
    const char* position;
    const char* fragmentUniforms;
    const char* color;
};

constexpr KindTexts Kinds[3] = {
    {"uniform mat4 u_Matrix;\n", "u_Matrix * vertexIn",
     "uniform int u_iDrawFlag;\n"
     "uniform float u_fDrawAlpha;\n"
     "uniform vec3 u_vDrawColor;\n",
     "if (1 == u_iDrawFlag) {\n"
     "gl_FragColor = vec4(u_vDrawColor, u_fDrawAlpha);\n"
     "}\n"},
    {"", "vertexIn",
     "uniform int u_iDrawFlag;\n"
     "uniform vec3 u_vDrawColor;\n",
     "if (1 == u_iDrawFlag) {\n"
     "gl_FragColor = vec4(u_vDrawColor, 0);\n"
     "}\n"},
    {"", "vertexIn", "", ""},
};

QByteArray VertexText(const char* textureType, const KindTexts& kind)
{
    const QByteArray type(textureType);
    return kind.vertexUniforms +
           ("attribute vec4 vertexIn;\n"
            "attribute " +
            type +
            " textureIn;\n"
            "varying " +
            type +
            " textureOut;\n"
            "void main(void)\n"
            "{\n"
            "gl_Position = ") +
           kind.position +
           ";\n"
           "textureOut = textureIn;\n"
           "}\n";
}

QByteArray FragmentText(const LayoutTexts& texts, const KindTexts& kind)
{
    return QByteArray(MediumPrecision) + texts.inputs + kind.fragmentUniforms +
           "void main(void)\n"
           "{\n" +
           texts.conversion + "gl_FragColor = vec4(rgb, 1);\n" + kind.color + "}\n";
}

// Full precision where the context has it: limited range stretches every rounding.
constexpr char BestPrecision[] = "#ifdef GL_ES\n"
                                 "precision mediump int;\n"
                                 "#ifdef GL_FRAGMENT_PRECISION_HIGH\n"
                                 "precision highp float;\n"
                                 "#else\n"
                                 "precision mediump float;\n"
                                 "#endif\n"
                                 "#endif\n";

// Always with a point, whatever the locale.
QByteArray NumberText(double value)
{
    return QByteArray::number(value, 'f', 9);
}

// mat3 is filled column by column.
QByteArray ConversionText(const char* samples, const ColorConversion& conversion)
{
    QByteArray matrix;
    for (size_t column = 0; column < 3; ++column) {
        for (const auto& row : conversion.matrix) {
            matrix += (matrix.isEmpty() ? "" : ", ") + NumberText(row[column]);
        }
    }
    const auto& offset = conversion.offset;
    return "vec3 rgb = mat3(" + matrix + ") * " + samples + " + vec3(" + NumberText(offset[0]) + ", " +
           NumberText(offset[1]) + ", " + NumberText(offset[2]) + ");\n";
}

QByteArray SamplersText(int planes)
{
    QByteArray text;
    for (int i = 0; i < planes; ++i) {
        text += QByteArray("uniform sampler2D ") + PlaneSamplers[i] + ";\n";
    }
    return text;
}

} // namespace

ShaderProgram BuildColorProgram(const GlProfile& profile, const PictureLayout& layout,
                                const tagOvelColor& color)
{
    const QByteArray conversion = ConversionText(layout.texts.samples, ConversionOf(layout.formula, color));
    const QByteArray fragment = BestPrecision +
                                ("varying vec4 textureOut;\n" + SamplersText(layout.PlaneCount())) +
                                "void main(void)\n"
                                "{\n" +
                                conversion +
                                "gl_FragColor = vec4(rgb, 1.0);\n"
                                "}\n";
    return BuildShaderProgram(profile,
                              VertexText("vec4", Kinds[static_cast<int>(PictureProgramKind::PictureOnly)]),
                              fragment, "textureIn");
}

ShaderProgram BuildPictureProgram(const GlProfile& profile, const PictureLayout& layout,
                                  PictureProgramKind kind)
{
    const KindTexts& added = Kinds[static_cast<int>(kind)];
    return BuildShaderProgram(profile, VertexText(layout.texts.textureType, added),
                              FragmentText(layout.texts, added), "textureIn");
}

bool BindSamplers(QOpenGLShaderProgram& program, const PictureLayout& layout)
{
    if (!program.bind()) {
        return false;
    }
    for (int i = 0; i < layout.PlaneCount(); ++i) {
        program.setUniformValue(PlaneSamplers[i], i);
    }
    return true;
}
