#include "ShaderProgram.h"

#include <QOpenGLShaderProgram>

ShaderProgram::ShaderProgram() : program(std::make_unique<QOpenGLShaderProgram>()) {}
ShaderProgram::ShaderProgram(ShaderProgram&& other) noexcept = default;
ShaderProgram& ShaderProgram::operator=(ShaderProgram&& other) noexcept = default;
ShaderProgram::~ShaderProgram() = default;

ShaderProgram BuildShaderProgram(const GlProfile& profile, const QByteArray& vertex,
                                 const QByteArray& fragment, const char* secondAttribute)
{
    ShaderProgram built;
    QOpenGLShaderProgram& program = *built.program;
    const auto step = [&](bool done, const char* stage) {
        if (!done && built.failure.isEmpty()) {
            built.failure = QLatin1String(stage) + QLatin1String(": ") + program.log().trimmed();
        }
    };
    step(program.addShaderFromSourceCode(QOpenGLShader::Vertex, profile.vertexPrelude + vertex),
         "vertex shader");
    step(program.addShaderFromSourceCode(QOpenGLShader::Fragment, profile.fragmentPrelude + fragment),
         "fragment shader");
    program.bindAttributeLocation("vertexIn", 0);
    program.bindAttributeLocation(secondAttribute, 1);
    step(program.link(), "link");
    return built;
}
