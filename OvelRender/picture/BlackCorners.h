// Whether a luma plane looks as if nothing was decoded into it. No GL, no Qt.
#pragma once

// True when the 10 x 10 blocks in the four corners of a plane of at least 10 x 10 samples are all zero.
bool HasBlackCorners(const unsigned char* luma, int width, int height);
