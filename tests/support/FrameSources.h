// Source memory for frames that ends to the byte where the descriptor's promise ends, so that the address
// sanitizer sees every byte read beyond it.
#pragma once

#include "OvelInterface.h"

#include <algorithm>
#include <memory>

constexpr int64_t MostSourceBytes = 1 << 22;

// The bytes around a source pointer that the descriptor promises.
struct Extent {
    int64_t first = 0;
    int64_t end = 0;

    void AddRows(int64_t offset, int64_t pitch, int64_t rows, int64_t rowBytes)
    {
        if (rows < 1) {
            return;
        }
        const int64_t last = offset + (rows - 1) * pitch;
        first = std::min({first, offset, last});
        end = std::max({end, offset + rowBytes, last + rowBytes});
    }
};

// Memory for an extent, its pointer where the extent's zero is; null when it would be too large to try.
class Source
{
public:
    void* Reserve(const Extent& extent)
    {
        if (extent.end - extent.first > MostSourceBytes) {
            return nullptr;
        }
        m_bytes.reset(new uint8_t[static_cast<size_t>(extent.end - extent.first)]());
        return m_bytes.get() - extent.first;
    }

private:
    std::unique_ptr<uint8_t[]> m_bytes;
};

struct Sources {
    Source block, luma, chroma;
};

// Sets the pointers that the bits ask for: 1 block, 2 luma, 4 chroma.
inline void Promise(tagYuvFrameInfo& frame, unsigned int pointers, Sources& sources)
{
    const int64_t width = frame.iWidth, height = frame.iHeight, pitch = frame.iPitch;
    Extent block, luma, chroma;
    if (width < 1 || height < 1 || width * height > MostSourceBytes) {
        // Refused, or too large to have a picture at all: nothing may be read.
    } else if (frame.iDisplayType != OVEL_DISPLAY_NV12) {
        block.end = frame.iDataSize > 0 ? frame.iDataSize : width * height * 3 / 2;
    } else {
        const int64_t alignedHeight = (height + 15) / 16 * 16;
        const bool packed = pitch == 0 || (pitch == width && height == alignedHeight);
        const int64_t step = packed ? width : pitch;
        luma.AddRows(0, step, height, width);
        chroma.AddRows(0, step, height / 2, width);
        if (packed) {
            chroma.end = width * height / 2;
            block.end = width * height * 3 / 2;
        } else {
            block.AddRows(0, step, height, width);
            block.AddRows(alignedHeight * pitch, step, height / 2, width);
        }
    }
    const bool promised = width * height <= MostSourceBytes || width < 1 || height < 1;
    frame.pYuvData = promised && (pointers & 1) ? sources.block.Reserve(block) : nullptr;
    frame.pPlaneY = promised && (pointers & 2) ? sources.luma.Reserve(luma) : nullptr;
    frame.pPlaneUV = promised && (pointers & 4) ? sources.chroma.Reserve(chroma) : nullptr;
}
