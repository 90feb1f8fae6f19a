// From a colour description to the arithmetic of a conversion, and where chroma samples lie. No GL, no
// widget.
#pragma once

#include "OvelInterface.h"

#include <array>

// A display type's own conversion: R = Y + vToRed V and so on, U and V less 0.5, Y less the offset.
struct YuvFormula {
    double lumaOffset;
    double vToRed;
    double uToGreen;
    double vToGreen;
    double uToBlue;
};

// rgb = matrix * yuv + offset, samples as fractions of 255.
struct ColorConversion {
    std::array<std::array<double, 3>, 3> matrix; // [red, green, blue][Y, U, V]
    std::array<double, 3> offset;
};

// Whether every value is one that its enumeration lists.
bool IsKnownColor(const tagOvelColor& color);

// Whether the description asks for nothing but the display type's own formula.
bool IsPlainColor(const tagOvelColor& color);

bool IsSameColor(const tagOvelColor& a, const tagOvelColor& b);

ColorConversion ConversionOf(const YuvFormula& formula, const tagOvelColor& color);

// The chroma texture coordinates at the edges of the picture.
struct ChromaSpan {
    float left;
    float top;
    float right;
    float bottom;
};

// Centred samples are spread over the picture whatever its size; others lie on luma samples, sample i at
// column or row 2 i, and centred between 2 i and 2 i + 1 in the direction that the siting leaves alone.
ChromaSpan ChromaSpanOf(int siting, int width, int height);
