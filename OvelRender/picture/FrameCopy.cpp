#include "FrameCopy.h"

#include <algorithm>

namespace
{

struct Rows {
    const uint8_t* source;
    ptrdiff_t pitch;
    size_t rowBytes;
    int count;
};

Rows OneRow(const void* source, size_t bytes)
{
    return {static_cast<const uint8_t*>(source), 0, bytes, 1};
}

// Copies as much as fits behind the offset, rows whole or cut at the buffer's end.
void CopyRows(Rows rows, const FrameBuffer& buffer, size_t offset)
{
    if (rows.pitch == static_cast<ptrdiff_t>(rows.rowBytes)) {
        rows = OneRow(rows.source, rows.rowBytes * static_cast<size_t>(rows.count));
    }
    if (offset >= buffer.size || rows.count < 1 || rows.rowBytes < 1) {
        return;
    }
    uint8_t* const target = buffer.bytes + offset;
    const size_t room = buffer.size - offset;
    const int whole = static_cast<int>(std::min(room / rows.rowBytes, static_cast<size_t>(rows.count)));
    CopyRowsToRun(target, rows.source, rows.pitch, rows.rowBytes, whole, buffer.stores);
    if (whole < rows.count) {
        const size_t copied = static_cast<size_t>(whole) * rows.rowBytes;
        CopyRowsToRun(target + copied, rows.source + whole * rows.pitch, 0, room - copied, 1, buffer.stores);
    }
}

CopiedFrame CopyBlock(const tagYuvFrameInfo& frame, size_t pictureBytes, const FrameBuffer& buffer)
{
    if (!frame.pYuvData) {
        return CopiedFrame::Nothing;
    }
    const bool declared = frame.iDataSize > 0;
    const size_t bytes = declared ? static_cast<size_t>(frame.iDataSize) : pictureBytes;
    CopyRows(OneRow(frame.pYuvData, bytes), buffer, 0);
    return declared ? CopiedFrame::DeclaredBlock : CopiedFrame::Picture;
}

CopiedFrame CopyNv12(const tagYuvFrameInfo& frame, int width, int height, const FrameBuffer& buffer)
{
    const size_t lumaBytes = static_cast<size_t>(width) * static_cast<size_t>(height);
    const int64_t alignedHeight = (static_cast<int64_t>(height) + 15) / 16 * 16;
    const bool packed = frame.iPitch == 0 || (frame.iPitch == width && height == alignedHeight);
    const bool planes = frame.pPlaneY && frame.pPlaneUV;

    if (!planes && !frame.pYuvData) {
        return CopiedFrame::Nothing;
    }
    if (packed) {
        const auto* luma = static_cast<const uint8_t*>(planes ? frame.pPlaneY : frame.pYuvData);
        const auto* chroma = planes ? static_cast<const uint8_t*>(frame.pPlaneUV) : luma + lumaBytes;
        // In one block the picture ends at 3/2 of the luma; separate planes end at half the luma: the same
        // count.
        const size_t chromaBytes = planes ? lumaBytes / 2 : lumaBytes * 3 / 2 - lumaBytes;
        CopyRows(OneRow(luma, lumaBytes), buffer, 0);
        CopyRows(OneRow(chroma, chromaBytes), buffer, lumaBytes);
        return CopiedFrame::Picture;
    }
    const ptrdiff_t pitch = frame.iPitch;
    const auto* luma = static_cast<const uint8_t*>(planes ? frame.pPlaneY : frame.pYuvData);
    const auto* chroma = planes ? static_cast<const uint8_t*>(frame.pPlaneUV) : luma + alignedHeight * pitch;
    const size_t rowBytes = static_cast<size_t>(width);
    CopyRows({luma, pitch, rowBytes, height}, buffer, 0);
    CopyRows({chroma, pitch, rowBytes, height / 2}, buffer, lumaBytes);
    return CopiedFrame::Picture;
}

} // namespace

CopiedFrame CopyFrame(const tagYuvFrameInfo& frame, int width, int height, const FrameBuffer& buffer)
{
    if (frame.iDisplayType == OVEL_DISPLAY_NV12) {
        return CopyNv12(frame, width, height, buffer);
    }
    return CopyBlock(frame, static_cast<size_t>(PictureBytes(width, height)), buffer);
}
