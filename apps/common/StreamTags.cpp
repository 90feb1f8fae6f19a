#include "StreamTags.h"

#include <cstdlib>
#include <cstring>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

namespace
{

constexpr int LinesOfHd = 720;

int MatrixOf(const AVFrame& picture, bool isRgb)
{
    switch (isRgb ? AVCOL_SPC_UNSPECIFIED : picture.colorspace) {
    case AVCOL_SPC_BT709:
    case AVCOL_SPC_SMPTE240M: // within 4 of 255 of it
        return OVEL_MATRIX_BT709;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
    case AVCOL_SPC_FCC: // BT.601 but for the third digit
        return OVEL_MATRIX_BT601;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
        return OVEL_MATRIX_BT2020;
    default:
        return picture.height >= LinesOfHd ? OVEL_MATRIX_BT709 : OVEL_MATRIX_BT601;
    }
}

int RangeOf(const AVFrame& picture, const AVPixFmtDescriptor& format, bool isRgb)
{
    if (isRgb) {
        return OVEL_RANGE_LIMITED;
    }
    const bool isGrey = format.nb_components < 3;
    const bool fullByFormat = std::strncmp(format.name, "yuvj", 4) == 0;
    const bool fullByTag =
        picture.color_range == AVCOL_RANGE_JPEG || (isGrey && picture.color_range == AVCOL_RANGE_UNSPECIFIED);
    return fullByFormat || fullByTag ? OVEL_RANGE_FULL : OVEL_RANGE_LIMITED;
}

int SitingOf(const AVFrame& picture, const AVPixFmtDescriptor& format)
{
    if (format.log2_chroma_w != 1 || format.log2_chroma_h != 1) {
        return OVEL_SITING_LEFT;
    }
    switch (picture.chroma_location) {
    case AVCHROMA_LOC_CENTER:
    case AVCHROMA_LOC_TOP:
    case AVCHROMA_LOC_BOTTOM:
        return OVEL_SITING_CENTER;
    case AVCHROMA_LOC_TOPLEFT:
        return OVEL_SITING_TOP_LEFT;
    default:
        return OVEL_SITING_LEFT;
    }
}

} // namespace

tagOvelColor ColorOf(const AVFrame& picture)
{
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    if (format == nullptr) {
        return {};
    }
    const bool isRgb = (format->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
    return {MatrixOf(picture, isRgb), RangeOf(picture, *format, isRgb), SitingOf(picture, *format)};
}

bool SameColor(const tagOvelColor& one, const tagOvelColor& other)
{
    return one.iMatrix == other.iMatrix && one.iRange == other.iRange &&
           one.iChromaSiting == other.iChromaSiting;
}

bool ReadUprightView(const AVFrame& picture, UprightView& view)
{
    const AVFrameSideData* data = av_frame_get_side_data(&picture, AV_FRAME_DATA_DISPLAYMATRIX);
    if (data == nullptr || data->size < 9 * sizeof(int32_t)) {
        return false;
    }
    int32_t matrix[9];
    std::memcpy(matrix, data->data, sizeof(matrix));
    // Where the picture's right and down go, y downwards: (matrix[0], matrix[1]) and (matrix[3], matrix[4]).
    const bool mirrored =
        static_cast<double>(matrix[0]) * matrix[4] < static_cast<double>(matrix[1]) * matrix[3];
    const int32_t across = mirrored ? -matrix[0] : matrix[0];
    const int32_t down = matrix[1];
    if (std::abs(static_cast<double>(across)) >= std::abs(static_cast<double>(down))) {
        view.QuarterTurns = across < 0 ? 2 : 0;
    } else {
        view.QuarterTurns = down < 0 ? 3 : 1;
    }
    view.Mirror = mirrored ? 1 : 0;
    return true;
}
