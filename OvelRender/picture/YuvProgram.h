// The GLSL programs that turn YUV planes into RGB, built for whatever the context speaks.
#pragma once

#include "GlProfile.h"

#include <QString>

class QOpenGLShaderProgram;

enum class YuvLayout { ThreePlanes, Nv12 };

// With a matrix and an overlay alpha (full frame), without either (sub image), or nothing but the picture:
// without uniforms the software rasteriser shades 2 % faster and spares a megabyte per window.
enum class YuvProgramKind { FullFrame, SubImage, PictureOnly };

struct BuiltProgram {
    QOpenGLShaderProgram* program; // owned by the caller; links or not
    QString failure;               // empty, or the stage that failed with its log
};

// Attribute 0 is vertexIn, attribute 1 textureIn. Needs the context current.
BuiltProgram BuildYuvProgram(const GlProfile& profile, YuvLayout layout, YuvProgramKind kind);

// The program that paints flat coloured triangles: position and colour per vertex.
BuiltProgram BuildFlatProgram(const GlProfile& profile);
