// The program that paints flat coloured triangles and lines: position and colour per vertex.
#pragma once

#include "ShaderProgram.h"

// Attribute 1 is colorIn. Needs the context current.
ShaderProgram BuildFlatProgram(const GlProfile& profile);
