// GLSL programs, built for whatever the context speaks.
#pragma once

#include "GlProfile.h"

#include <QByteArray>
#include <QString>

#include <memory>

class QOpenGLShaderProgram;

// Needs the context current, as all that is done with it.
struct ShaderProgram {
    ShaderProgram();
    ShaderProgram(ShaderProgram&& other) noexcept;
    ShaderProgram& operator=(ShaderProgram&& other) noexcept;
    ~ShaderProgram();

    std::unique_ptr<QOpenGLShaderProgram> program; // links or not
    QString failure;                               // empty, or the stage that failed with its log
};

// From texts in the tokens of ES 2. Attribute 0 is vertexIn, attribute 1 the second one.
ShaderProgram BuildShaderProgram(const GlProfile& profile, const QByteArray& vertex,
                                 const QByteArray& fragment, const char* secondAttribute);

// Precision of a fragment shader that asks for none itself.
constexpr char MediumPrecision[] = "#ifdef GL_ES\n"
                                   "precision mediump int;\n"
                                   "precision mediump float;\n"
                                   "#endif\n";
