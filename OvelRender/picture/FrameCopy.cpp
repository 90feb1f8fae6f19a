#include "FrameCopy.h"

#include <algorithm>
#include <cstring>

namespace
{

struct Rows {
    const uint8_t* source;
    ptrdiff_t pitch;
    size_t rowBytes;
    int count;
};

// Copies as much as fits behind the offset, rows whole or cut at the buffer's end.
void CopyRows(const Rows& rows, uint8_t* buffer, size_t bufferBytes, size_t offset)
{
    if (rows.pitch == static_cast<ptrdiff_t>(rows.rowBytes)) {
        if (offset < bufferBytes)
            std::memcpy(buffer + offset, rows.source,
                        std::min(bufferBytes - offset, rows.rowBytes * static_cast<size_t>(rows.count)));
        return;
    }
    const uint8_t* source = rows.source;
    for (int row = 0; row < rows.count && offset < bufferBytes; ++row) {
        std::memcpy(buffer + offset, source, std::min(bufferBytes - offset, rows.rowBytes));
        offset += rows.rowBytes;
        source += rows.pitch;
    }
}

CopiedFrame CopyBlock(const tagYuvFrameInfo& frame, size_t pictureBytes, uint8_t* buffer, size_t bufferBytes)
{
    if (!frame.pYuvData)
        return CopiedFrame::Nothing;
    const bool declared = frame.iDataSize > 0;
    const size_t bytes = declared ? static_cast<size_t>(frame.iDataSize) : pictureBytes;
    std::memcpy(buffer, frame.pYuvData, std::min(bytes, bufferBytes));
    return declared ? CopiedFrame::DeclaredBlock : CopiedFrame::Picture;
}

CopiedFrame CopyNv12(const tagYuvFrameInfo& frame, int width, int height, uint8_t* buffer, size_t bufferBytes)
{
    const size_t lumaBytes = static_cast<size_t>(width) * static_cast<size_t>(height);
    const int64_t alignedHeight = (static_cast<int64_t>(height) + 15) / 16 * 16;
    const bool packed = frame.iPitch == 0 || (frame.iPitch == width && height == alignedHeight);
    const bool planes = frame.pPlaneY && frame.pPlaneUV;

    if (!planes && !frame.pYuvData)
        return CopiedFrame::Nothing;
    if (packed) {
        const auto* luma = static_cast<const uint8_t*>(planes ? frame.pPlaneY : frame.pYuvData);
        const auto* chroma = planes ? static_cast<const uint8_t*>(frame.pPlaneUV) : luma + lumaBytes;
        // In one block the picture ends at 3/2 of the luma; separate planes end at half the luma: the same
        // count.
        const size_t chromaBytes = planes ? lumaBytes / 2 : lumaBytes * 3 / 2 - lumaBytes;
        CopyRows({luma, static_cast<ptrdiff_t>(lumaBytes), lumaBytes, 1}, buffer, bufferBytes, 0);
        CopyRows({chroma, static_cast<ptrdiff_t>(chromaBytes), chromaBytes, 1}, buffer, bufferBytes,
                 lumaBytes);
        return CopiedFrame::Picture;
    }
    const ptrdiff_t pitch = frame.iPitch;
    const auto* luma = static_cast<const uint8_t*>(planes ? frame.pPlaneY : frame.pYuvData);
    const auto* chroma = planes ? static_cast<const uint8_t*>(frame.pPlaneUV) : luma + alignedHeight * pitch;
    const size_t rowBytes = static_cast<size_t>(width);
    CopyRows({luma, pitch, rowBytes, height}, buffer, bufferBytes, 0);
    CopyRows({chroma, pitch, rowBytes, height / 2}, buffer, bufferBytes, lumaBytes);
    return CopiedFrame::Picture;
}

} // namespace

std::optional<tagYuvFrameInfo> ReadDescriptor(const void* pFrame, int iSize)
{
    if (!pFrame || iSize < 1)
        return std::nullopt;
    tagYuvFrameInfo frame = {};
    std::memcpy(&frame, pFrame, std::min(static_cast<size_t>(iSize), sizeof(frame)));
    return frame;
}

CopiedFrame CopyFrame(const tagYuvFrameInfo& frame, int width, int height, uint8_t* buffer,
                      size_t bufferBytes)
{
    if (frame.iDisplayType == OVEL_DISPLAY_NV12)
        return CopyNv12(frame, width, height, buffer, bufferBytes);
    return CopyBlock(frame, static_cast<size_t>(PictureBytes(width, height)), buffer, bufferBytes);
}
