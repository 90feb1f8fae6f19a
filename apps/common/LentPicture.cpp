#include "LentPicture.h"

#include <algorithm>

extern "C" {
#include <libavutil/frame.h>
}

namespace
{

void GiveBack(void* reference)
{
    auto* picture = static_cast<AVFrame*>(reference);
    av_frame_free(&picture);
}

} // namespace

bool CanLend(const AVFrame& picture)
{
    const bool isNv12 = picture.format == AV_PIX_FMT_NV12;
    const bool isYv12 = picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUVJ420P;
    return (isNv12 || isYv12) && picture.buf[0] != nullptr &&
           std::all_of(picture.linesize, picture.linesize + (isNv12 ? 2 : 3),
                       [](int bytes) { return bytes > 0; });
}

int Lend(void* renderer, const AVFrame& picture, uint32_t frameParam, const tagOvelColor& color)
{
    AVFrame* const reference = av_frame_clone(&picture);
    if (reference == nullptr) {
        return -1;
    }
    tagOvelFrameRef frame{};
    frame.iWidth = reference->width;
    frame.iHeight = reference->height;
    frame.iDisplayType = reference->format == AV_PIX_FMT_NV12 ? OVEL_DISPLAY_NV12 : OVEL_DISPLAY_YV12;
    frame.uiFrameParam = frameParam;
    std::copy_n(reference->data, 3, frame.pPlane);
    std::copy_n(reference->linesize, 3, frame.iPitch);
    frame.iHasColor = 1;
    frame.stColor = color;
    return Ovel_ShowYuvFrameRef(renderer, &frame, sizeof(frame), &GiveBack, reference);
}
