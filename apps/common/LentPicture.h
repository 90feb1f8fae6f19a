// Decoded pictures that the renderer reads where the decoder left them. Nothing is copied: the renderer holds a
// reference until it lets go of the picture, and the decoder's pool lives as long as one is out.
#pragma once

#include <OvelInterface.h>

struct AVFrame;

// Whether a picture is 8-bit 4:2:0 in memory, its rows from the top down. Pictures of the graphics card are not.
bool CanLend(const AVFrame& picture);

// As Ovel_ShowYuvFrameRef, with the colours as part of the frame. The caller's own reference stays its own.
int Lend(void* renderer, const AVFrame& picture, uint32_t frameParam, const tagOvelColor& color);
