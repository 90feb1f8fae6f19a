#include "PlaneTextures.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLTexture>

#include <cstdlib>

namespace
{

const uint8_t NeutralChroma[2] = {128, 128};
constexpr GLenum RowLength = 0x0CF2; // GL_UNPACK_ROW_LENGTH, which the headers of ES 2 lack

// A picture one sample wide or high has no chroma: it is grey, not green. Pitch 0: rows without gaps.
Plane PlaneOf(const PlaneShape& shape, const uint8_t* data, int width, int height, int pitch = 0)
{
    const int columns = width / shape.divisor;
    const int rows = height / shape.divisor;
    if (columns < 1 || rows < 1) {
        return {NeutralChroma, 1, 1, shape.channels, shape.channels};
    }
    return {data, columns, rows, shape.channels, pitch != 0 ? pitch : width * shape.channels / shape.divisor};
}

const PlaneFormat& FormatOf(const GlProfile& profile, const Plane& plane)
{
    return plane.channels == 2 ? profile.redGreen : profile.red;
}

void SetFilters(QOpenGLFunctions& gl)
{
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

bool IsTight(const Plane& plane)
{
    return plane.pitch == plane.width * plane.channels;
}

// GL skips whole pixels, forwards, and in ES 2 none at all: where a row ends with half a pair (NV12 chroma of an
// odd width), lies before its predecessor or may not be skipped to, rows go one by one.
bool IsOneCall(const GlProfile& profile, const Plane& plane)
{
    return IsTight(plane) || (profile.rowLength && plane.pitch > 0 && plane.pitch % plane.channels == 0);
}

// Writes the rows into the bound texture.
void WriteRows(QOpenGLFunctions& gl, const Plane& plane, const PlaneFormat& format, int rowsPerCall)
{
    for (int row = 0; row < plane.height; row += rowsPerCall) {
        gl.glTexSubImage2D(GL_TEXTURE_2D, 0, 0, row, plane.width, rowsPerCall, format.external,
                           GL_UNSIGNED_BYTE, plane.data + static_cast<ptrdiff_t>(row) * plane.pitch);
    }
}

// Uploads a plane into the bound texture. Leaves the row length as it was found, 0.
void UploadPlane(QOpenGLFunctions& gl, const GlProfile& profile, const Plane& plane, Upload upload)
{
    const PlaneFormat& format = FormatOf(profile, plane);
    const bool isOneCall = IsOneCall(profile, plane);
    const bool skips = isOneCall && !IsTight(plane);
    if (skips) {
        gl.glPixelStorei(RowLength, plane.pitch / plane.channels);
    }
    if (upload == Upload::Replace) {
        gl.glTexImage2D(GL_TEXTURE_2D, 0, format.internal, plane.width, plane.height, 0, format.external,
                        GL_UNSIGNED_BYTE, isOneCall ? plane.data : nullptr);
    }
    if (upload == Upload::Update || !isOneCall) {
        WriteRows(gl, plane, format, isOneCall ? plane.height : 1);
    }
    if (skips) {
        gl.glPixelStorei(RowLength, 0);
    }
}

} // namespace

PicturePlanes PlanesInBuffer(const PictureLayout& layout, const uint8_t* buffer, int width, int height)
{
    const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
    PicturePlanes planes = {{}, layout.PlaneCount()};
    for (int i = 0; i < layout.PlaneCount(); ++i) {
        const PlaneShape& shape = layout.plane[i];
        planes.plane[i] = PlaneOf(shape, buffer + static_cast<size_t>(shape.start) * luma / 4, width, height);
    }
    return planes;
}

std::optional<PicturePlanes> PlanesInPlace(const PictureLayout& layout, const tagOvelFrameRef& frame)
{
    PicturePlanes planes = {{}, layout.PlaneCount()};
    for (int i = 0; i < layout.PlaneCount(); ++i) {
        Plane& plane = planes.plane[i];
        plane = PlaneOf(layout.plane[i], static_cast<const uint8_t*>(frame.pPlane[i]), frame.iWidth,
                        frame.iHeight, frame.iPitch[i]);
        if (!plane.data || std::llabs(plane.pitch) < static_cast<long long>(plane.width) * plane.channels) {
            return std::nullopt;
        }
    }
    return layout.IsPainted() ? std::optional(planes) : std::nullopt;
}

unsigned int AllocatePlane(const GlProfile& profile, QOpenGLTexture& texture, const Plane& plane)
{
    texture.setSize(plane.width, plane.height, 1);
    texture.setMinMagFilters(QOpenGLTexture::LinearMipMapLinear, QOpenGLTexture::Linear);
    texture.create();
    if (profile.sizedStorage) {
        texture.setFormat(plane.channels == 2 ? QOpenGLTexture::RG8_UNorm : QOpenGLTexture::R8_UNorm);
        texture.allocateStorage();
        return texture.textureId();
    }
    const PlaneFormat& format = FormatOf(profile, plane);
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    gl.glBindTexture(GL_TEXTURE_2D, texture.textureId());
    gl.glTexImage2D(GL_TEXTURE_2D, 0, format.internal, plane.width, plane.height, 0, format.external,
                    GL_UNSIGNED_BYTE, nullptr);
    return texture.textureId();
}

void UploadPlanes(const GlProfile& profile, const PicturePlanes& planes, const unsigned int (&textures)[3],
                  Upload upload)
{
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    // Rows of any width are packed; the default of 4 would slant pictures whose width is no multiple of 4.
    gl.glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    for (int i = 0; i < planes.count; ++i) {
        gl.glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
        gl.glBindTexture(GL_TEXTURE_2D, textures[i]);
        UploadPlane(gl, profile, planes.plane[i], upload);
        SetFilters(gl);
    }
}

void BindPlanes(int count, const unsigned int (&textures)[3])
{
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    for (int i = 0; i < count; ++i) {
        gl.glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
        gl.glBindTexture(GL_TEXTURE_2D, textures[i]);
    }
}
