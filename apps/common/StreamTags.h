// What the tags of a stream and of its pictures say about showing them.
#pragma once

#include <OvelInterface.h>

struct AVFrame;

// What the samples of a picture mean once it is 8-bit 4:2:0. Without tags: BT.709 from 720 lines on, else
// BT.601, limited range, chroma on the left. Pictures that are converted on their way (RGB, other chroma
// sizes) get the description that PictureConverter gives them.
tagOvelColor ColorOf(const AVFrame& picture);

bool SameColor(const tagOvelColor& one, const tagOvelColor& other);

// How a picture has to be turned to stand upright: clockwise quarters first, then the mirror of
// tagOvelVideoRotate.
struct UprightView {
    int QuarterTurns = 0;
    int Mirror = 0;
};

inline bool operator==(const UprightView& one, const UprightView& other)
{
    return one.QuarterTurns == other.QuarterTurns && one.Mirror == other.Mirror;
}

// From the display matrix of a picture; false when it has none.
bool ReadUprightView(const AVFrame& picture, UprightView& view);
