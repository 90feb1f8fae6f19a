// From a frame descriptor to bytes in a frame buffer, never past its end. No GL, no Qt.
#pragma once

#include "OvelInterface.h"
#include "RowCopy.h"

#include <algorithm>
#include <cstring>
#include <optional>

// Bytes of a 4:2:0 picture, in 64 bits so that no size wraps. Sizes must be positive.
constexpr int64_t PictureBytes(int width, int height)
{
    return static_cast<int64_t>(width) * height > INT64_MAX / 3
               ? INT64_MAX
               : static_cast<int64_t>(width) * height * 3 / 2;
}

// A descriptor from whatever the host handed over: missing bytes are zero. Nothing for null or empty.
template <typename Descriptor> std::optional<Descriptor> ReadDescriptor(const void* pFrame, int iSize)
{
    if (!pFrame || iSize < 1) {
        return std::nullopt;
    }
    Descriptor frame = {};
    std::memcpy(&frame, pFrame, std::min(static_cast<size_t>(iSize), sizeof(frame)));
    return frame;
}

enum class CopiedFrame {
    Nothing,       // no source pointer
    Picture,       // as many bytes as the layout says
    DeclaredBlock, // as many bytes as the host declared
};

struct FrameBuffer {
    uint8_t* bytes;
    size_t size;
    Stores stores = Stores::Cached;
};

// Copies the picture of a frame into a buffer that holds the layout of a width x height picture. The sources
// must cover what the descriptor says; writes end at the buffer's end whatever it says.
CopiedFrame CopyFrame(const tagYuvFrameInfo& frame, int width, int height, const FrameBuffer& buffer);
