#include "FrameCopy.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace
{

// Copies count rows that lie pitch bytes apart into one run.
using RowCopy = void (*)(uint8_t* target, const uint8_t* source, ptrdiff_t pitch, size_t rowBytes, int count);

void CopyRowByRow(uint8_t* target, const uint8_t* source, ptrdiff_t pitch, size_t rowBytes, int count)
{
    for (int row = 0; row < count; ++row) {
        std::memcpy(target, source, rowBytes);
        target += rowBytes;
        source += pitch;
    }
}

#if defined(__x86_64__)

// A call of memcpy per row costs a tenth of a picture that lies in the cache.
__attribute__((target("avx2"))) void CopyRowsAvx2(uint8_t* target, const uint8_t* source, ptrdiff_t pitch,
                                                  size_t rowBytes, int count)
{
    constexpr size_t step = 4 * sizeof(__m256i);
    const size_t whole = rowBytes - rowBytes % step;
    for (int row = 0; row < count; ++row) {
        for (size_t i = 0; i < whole; i += step) {
            const auto* from = reinterpret_cast<const __m256i*>(source + i);
            auto* to = reinterpret_cast<__m256i*>(target + i);
            const __m256i a = _mm256_loadu_si256(from);
            const __m256i b = _mm256_loadu_si256(from + 1);
            const __m256i c = _mm256_loadu_si256(from + 2);
            const __m256i d = _mm256_loadu_si256(from + 3);
            _mm256_storeu_si256(to, a);
            _mm256_storeu_si256(to + 1, b);
            _mm256_storeu_si256(to + 2, c);
            _mm256_storeu_si256(to + 3, d);
        }
        if (whole < rowBytes)
            std::memcpy(target + whole, source + whole, rowBytes - whole);
        target += rowBytes;
        source += pitch;
    }
}

RowCopy BestRowCopy()
{
    return __builtin_cpu_supports("avx2") ? CopyRowsAvx2 : CopyRowByRow;
}

#else

RowCopy BestRowCopy()
{
    return CopyRowByRow;
}

#endif

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
    if (offset >= bufferBytes || rows.count < 1 || rows.rowBytes < 1)
        return;
    const size_t room = bufferBytes - offset;
    const int whole = static_cast<int>(std::min(room / rows.rowBytes, static_cast<size_t>(rows.count)));
    BestRowCopy()(buffer + offset, rows.source, rows.pitch, rows.rowBytes, whole);
    if (whole < rows.count) {
        const size_t copied = static_cast<size_t>(whole) * rows.rowBytes;
        std::memcpy(buffer + offset + copied, rows.source + whole * rows.pitch, room - copied);
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
