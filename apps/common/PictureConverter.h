// Pictures that the renderer does not take as they are, made 8-bit 4:2:0 by swscale in one step: with the
// matrix and range that they have, samples of more bits dithered, RGB as the matrix of its size in limited
// range.
#pragma once

#include <memory>

extern "C" {
#include <libavutil/pixfmt.h>
}

struct AVFrame;
struct SwsContext;

class PictureConverter
{
public:
    PictureConverter();
    ~PictureConverter();
    PictureConverter(const PictureConverter&) = delete;
    PictureConverter& operator=(const PictureConverter&) = delete;

    // The picture in the other format, valid until the next call. Null when swscale cannot.
    const AVFrame* Convert(const AVFrame& picture, AVPixelFormat target);

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};
