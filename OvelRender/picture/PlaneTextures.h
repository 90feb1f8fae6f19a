// The planes of a picture as textures: sizes, formats, allocation and upload, the same for every layout.
#pragma once

#include "GlProfile.h"
#include "OvelInterface.h"
#include "VertexStream.h"
#include "YuvProgram.h"

#include <cstdint>
#include <memory>

class QOpenGLTexture;

struct Plane {
    const uint8_t* data;
    int width;
    int height;
    bool redGreen; // two interleaved channels
    int pitch;     // bytes from row to row
};

struct PicturePlanes {
    Plane plane[3];
    int count;
};

// Where the planes of a width x height picture lie in a frame buffer.
PicturePlanes ThreePlanes(const uint8_t* buffer, int width, int height);
PicturePlanes Nv12Planes(const uint8_t* luma, const uint8_t* chroma, int width, int height);

// All below need the context current.

// Gives a texture storage of fixed size for a plane; returns its name.
unsigned int AllocatePlane(const GlProfile& profile, QOpenGLTexture& texture, const Plane& plane);

enum class Upload { Replace, Update }; // specify the texture anew, or write into the storage it has

// Uploads planes 0, 1, ... into the textures of these names, bound to the texture units of the same numbers.
void UploadPlanes(const GlProfile& profile, const PicturePlanes& planes, const unsigned int (&textures)[3],
                  Upload upload);

// Binds the textures to their units without touching their contents.
void BindPlanes(int count, const unsigned int (&textures)[3]);

// The four-vertex strip that carries the picture, row 0 of the frame at the top edge.
class PictureQuad
{
public:
    PictureQuad();
    ~PictureQuad(); // needs Free first

    // Binds a program that does nothing but show the picture. False where there is none that gives the same
    // pixels as the full one.
    bool BindProgram(const GlProfile& profile, YuvLayout layout);
    // Draws the strip, turned and mirrored, with the program that is bound.
    void Draw(const float (&vertices)[8], const tagOvelVideoRotate& rotate);
    void Free();

private:
    std::unique_ptr<QOpenGLShaderProgram> m_program;
    YuvLayout m_layout = YuvLayout::ThreePlanes;
    VertexStream m_stream;
    float m_loaded[8] = {};
    bool m_isLoaded = false;
};
