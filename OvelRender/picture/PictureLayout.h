// The layouts that frames come in, one row each: a new format is a row and its shader text. No GL, no widget.
#pragma once

#include "ColorConversion.h"

#include <algorithm>

struct PlaneShape {
    int channels; // 1, or 2 that are interleaved
    int divisor;  // of the picture's width and height
    int start;    // in the frame buffer, in quarters of the luma plane
};

// What the fragment shaders of a layout are made of: that of its own formula and those of a described colour.
struct LayoutTexts {
    const char* textureType; // of the texture coordinates
    const char* inputs;      // varyings and samplers
    const char* conversion;  // statements from the samples to vec3 rgb
    const char* samples;     // vec3 of Y, U, V; luma at textureOut.st, chroma at textureOut.pq
};

struct PictureLayout {
    int displayType;
    int planes; // 0: frames are taken, but not painted
    PlaneShape plane[3];
    LayoutTexts texts;
    YuvFormula formula;           // the same as in the text
    const char* fullFrameMessage; // what a change to this display type writes into the log
    const char* subImageMessage;

    bool IsPainted() const { return planes > 0; }
    // Bounded, for those who index by it.
    int PlaneCount() const { return std::min(planes, 3); }
};

// The row of a display type; types without one are taken and not painted either.
const PictureLayout& LayoutOf(int displayType);
