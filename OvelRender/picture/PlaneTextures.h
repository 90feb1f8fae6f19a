// The planes of a picture as textures: sizes, formats, allocation and upload, the same for every layout.
#pragma once

#include "GlProfile.h"
#include "PictureLayout.h"

#include <cstdint>
#include <optional>

class QOpenGLTexture;

struct Plane {
    const uint8_t* data;
    int width;
    int height;
    int channels;
    int pitch; // bytes from row to row; negative: bottom up
};

struct PicturePlanes {
    Plane plane[3];
    int count;
};

// Where the planes of a width x height picture lie in a frame buffer.
PicturePlanes PlanesInBuffer(const PictureLayout& layout, const uint8_t* buffer, int width, int height);
// The planes of a frame of positive size where the host has them; nothing for a layout without planes, an
// address that is missing or a pitch that is smaller than a row.
std::optional<PicturePlanes> PlanesInPlace(const PictureLayout& layout, const tagOvelFrameRef& frame);

// All below need the context current.

// Gives a texture storage of fixed size for a plane; returns its name.
unsigned int AllocatePlane(const GlProfile& profile, QOpenGLTexture& texture, const Plane& plane);

enum class Upload { Replace, Update }; // specify the texture anew, or write into the storage it has

// Uploads planes 0, 1, ... into the textures of these names, bound to the texture units of the same numbers.
void UploadPlanes(const GlProfile& profile, const PicturePlanes& planes, const unsigned int (&textures)[3],
                  Upload upload);

// Binds the textures to their units without touching their contents.
void BindPlanes(int count, const unsigned int (&textures)[3]);
