#include "PictureConverter.h"

#include "StreamTags.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace
{

struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreeScaler {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using Scaler = std::unique_ptr<SwsContext, FreeScaler>;

int Coefficients(int matrix)
{
    return matrix == OVEL_MATRIX_BT2020  ? SWS_CS_BT2020
           : matrix == OVEL_MATRIX_BT709 ? SWS_CS_ITU709
                                         : SWS_CS_ITU601;
}

// Where chroma lies, in 256ths of a luma sample from the first one.
struct ChromaPosition {
    int Across;
    int Down;
};

ChromaPosition PositionOf(int siting)
{
    return {siting == OVEL_SITING_CENTER ? 128 : 0, siting == OVEL_SITING_TOP_LEFT ? 0 : 128};
}

void SetNumbers(SwsContext* scaler, const AVFrame& picture, AVPixelFormat target, const tagOvelColor& color)
{
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    const ChromaPosition chroma = PositionOf(color.iChromaSiting);
    const int isFull = color.iRange == OVEL_RANGE_FULL ? 1 : 0;
    const struct {
        const char* Name;
        int Value;
    } numbers[] = {
        {"srcw", picture.width},
        {"srch", picture.height},
        {"src_format", picture.format},
        {"src_range", isFull},
        {"src_h_chr_pos", format != nullptr && format->log2_chroma_w > 0 ? chroma.Across : -513},
        {"src_v_chr_pos", format != nullptr && format->log2_chroma_h > 0 ? chroma.Down : -513},
        {"dstw", picture.width},
        {"dsth", picture.height},
        {"dst_format", target},
        {"dst_range", isFull},
        {"dst_h_chr_pos", chroma.Across},
        {"dst_v_chr_pos", chroma.Down},
        {"sws_flags", SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP},
    };
    for (const auto& number : numbers) {
        av_opt_set_int(scaler, number.Name, number.Value, 0);
    }
    av_opt_set(scaler, "sws_dither", "bayer", 0);
}

// The same coefficients on both sides: nothing but the layout of the samples changes.
Scaler MakeScaler(const AVFrame& picture, AVPixelFormat target, const tagOvelColor& color)
{
    Scaler scaler(sws_alloc_context());
    if (!scaler) {
        return nullptr;
    }
    SetNumbers(scaler.get(), picture, target, color);
    if (sws_init_context(scaler.get(), nullptr, nullptr) < 0) {
        return nullptr;
    }
    const int* table = sws_getCoefficients(Coefficients(color.iMatrix));
    const int isFull = color.iRange == OVEL_RANGE_FULL ? 1 : 0;
    constexpr int one = 1 << 16;
    sws_setColorspaceDetails(scaler.get(), table, isFull, table, isFull, 0, one, one);
    return scaler;
}

} // namespace

struct PictureConverter::Parts {
    Scaler scaler;
    std::unique_ptr<AVFrame, FreeFrame> Result{av_frame_alloc()};
    tagOvelColor Color{};
    int SourceFormat = -1;

    bool IsReadyFor(const AVFrame& picture, AVPixelFormat target, const tagOvelColor& color) const
    {
        return scaler && Result->width == picture.width && Result->height == picture.height &&
               Result->format == target && SourceFormat == picture.format && SameColor(Color, color);
    }
};

PictureConverter::PictureConverter() : m_parts(std::make_unique<Parts>()) {}

PictureConverter::~PictureConverter() = default;

const AVFrame* PictureConverter::Convert(const AVFrame& picture, AVPixelFormat target)
{
    Parts& parts = *m_parts;
    AVFrame& result = *parts.Result;
    const tagOvelColor color = ColorOf(picture);
    if (!parts.IsReadyFor(picture, target, color)) {
        av_frame_unref(&result);
        result.width = picture.width;
        result.height = picture.height;
        result.format = target;
        parts.scaler.reset();
        if (av_frame_get_buffer(&result, 0) < 0) {
            return nullptr;
        }
        parts.scaler = MakeScaler(picture, target, color);
        parts.SourceFormat = picture.format;
        parts.Color = color;
    }
    const bool converted = parts.scaler && sws_scale(parts.scaler.get(), picture.data, picture.linesize, 0,
                                                     picture.height, result.data, result.linesize) > 0;
    return converted ? &result : nullptr;
}
