// The GLSL programs that turn the planes of a layout into RGB.
#pragma once

#include "PictureLayout.h"
#include "ShaderProgram.h"

// With a matrix and an overlay alpha (full frame), without either (sub image), or nothing but the picture:
// a paint of 1080p costs the software rasteriser 1.6 % less without uniforms (median of the benchmark's paint
// rows, both layouts and renderers, sides exchanged).
enum class PictureProgramKind { FullFrame, SubImage, PictureOnly };

// Attribute 1 is textureIn. Needs the context current.
ShaderProgram BuildPictureProgram(const GlProfile& profile, const PictureLayout& layout,
                                  PictureProgramKind kind);

// The program of a described colour, with its arithmetic as constants: nothing but the picture. Its textureIn
// holds the luma coordinates and those of the chroma.
ShaderProgram BuildColorProgram(const GlProfile& profile, const PictureLayout& layout,
                                const tagOvelColor& color);

// The samplers of the planes; plane i is read from texture unit i.
constexpr const char* PlaneSamplers[3] = {"tex_y", "tex_u", "tex_v"};

// Points the samplers at their units; the program stays bound. False when it cannot be bound.
bool BindSamplers(QOpenGLShaderProgram& program, const PictureLayout& layout);
