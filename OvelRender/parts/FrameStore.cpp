#include "FrameStore.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

// Sanitized builds see an access behind the picture, which the rounded room would hide.
#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, bytes) static_cast<void>(0)
#endif

namespace
{

// Rows of the usual widths then begin where cache lines do: copied past the cache in two thirds of the time.
constexpr size_t CacheLine = 64;

// Whole pages are handed back to the system, which gives them out zeroed when they are first touched: a frame
// that declares a gigabyte and brings nothing must not cost one. Pages that it will not take are cleared here.
void FillWithZero(uint8_t* block, size_t bytes)
{
    static const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto address = reinterpret_cast<uintptr_t>(block);
    const size_t head = std::min(bytes, static_cast<size_t>((page - address % page) % page));
    const size_t pages = (bytes - head) / page * page;
    if (pages == 0 || madvise(block + head, pages, MADV_DONTNEED) != 0) {
        std::memset(block, 0, bytes);
        return;
    }
    std::memset(block, 0, head);
    std::memset(block + head + pages, 0, bytes - head - pages);
}

} // namespace

bool FrameStore::CanHold(int width, int height)
{
    return width >= 1 && height >= 1 && PictureBytes(width, height) <= std::numeric_limits<int>::max();
}

int FrameStore::Reset(int width, int height, int bytes)
{
    if (width < 1 || height < 1) {
        return -1;
    }
    Drop();
    m_fields.width = width;
    m_fields.height = height;
    m_fields.declaredBytes = bytes;
    m_isLost = true;
    const int64_t wanted = bytes >= 1 ? bytes : PictureBytes(width, height);
    if (wanted > std::numeric_limits<int>::max()) {
        return -1;
    }
    const size_t used = static_cast<size_t>(wanted);
    const size_t room = (used + CacheLine - 1) / CacheLine * CacheLine;
    m_fields.buffer = static_cast<uint8_t*>(std::aligned_alloc(CacheLine, room));
    if (!m_fields.buffer) {
        return -1;
    }
    FillWithZero(m_fields.buffer, used);
    ASAN_POISON_MEMORY_REGION(m_fields.buffer + used, room - used);
    m_block = m_fields.buffer;
    m_blockBytes = used;
    m_isLost = false;
    return 0;
}

void FrameStore::Drop()
{
    ReturnToBuffer();
    std::free(m_fields.buffer);
    m_fields.buffer = nullptr;
    m_fields.nv12Luma = nullptr;
    m_fields.nv12Chroma = nullptr;
    m_isLost = false;
    m_wasRead = false;
    ++m_serial;
}

bool FrameStore::NeedsReset(const tagYuvFrameInfo& frame) const
{
    const bool newLength = frame.iDataSize > 0 && frame.iDataSize != m_fields.declaredBytes;
    const bool newSize = frame.iWidth != m_fields.width || frame.iHeight != m_fields.height;
    return !m_fields.buffer || newLength || newSize;
}

int FrameStore::RoomFor(const tagYuvFrameInfo& frame)
{
    return std::max(frame.iDataSize, static_cast<int>(PictureBytes(frame.iWidth, frame.iHeight)));
}

CopiedFrame FrameStore::Copy(const tagYuvFrameInfo& frame)
{
    if (frame.iDisplayType == OVEL_DISPLAY_NV12) {
        m_fields.nv12Luma = m_fields.buffer;
        m_fields.nv12Chroma =
            m_fields.buffer + static_cast<size_t>(m_fields.width) * static_cast<size_t>(m_fields.height);
    }
    const Stores stores = std::exchange(m_wasRead, false) ? Stores::PastCache : Stores::Cached;
    const CopiedFrame copied =
        CopyFrame(frame, m_fields.width, m_fields.height, {m_fields.buffer, Bytes(), stores});
    ++m_serial;
    return copied;
}

void FrameStore::Refer(const tagOvelFrameRef& frame, const PicturePlanes& planes, FrameReference&& reference)
{
    ReturnToBuffer();
    m_referred.emplace(Referred{frame.iDisplayType, planes,
                                frame.iHasColor ? std::optional(frame.stColor) : std::nullopt,
                                std::move(reference), m_fields.width, m_fields.height});
    m_fields.width = frame.iWidth;
    m_fields.height = frame.iHeight;
    m_isLost = false;
    ++m_serial;
}

void FrameStore::ReturnToBuffer()
{
    if (!m_referred) {
        return;
    }
    m_fields.width = m_referred->bufferWidth;
    m_fields.height = m_referred->bufferHeight;
    LettingGo::Later(std::move(m_referred->reference));
    m_referred.reset();
    ++m_serial;
}

PicturePlanes FrameStore::Planes(const PictureLayout& layout) const
{
    if (m_referred && m_referred->displayType == layout.displayType) {
        return m_referred->planes;
    }
    PicturePlanes planes = PlanesInBuffer(layout, m_fields.buffer, m_fields.width, m_fields.height);
    if (layout.displayType == OVEL_DISPLAY_NV12) {
        planes.plane[0].data = m_fields.nv12Luma; // as the fields say, which are checked
        if (m_fields.width > 1 && m_fields.height > 1) {
            planes.plane[1].data = m_fields.nv12Chroma;
        }
    }
    return planes;
}

tagOvelColor FrameStore::ColorOr(const tagOvelColor& color) const
{
    return m_referred ? m_referred->color.value_or(color) : color;
}

size_t FrameStore::Bytes() const
{
    const size_t room = malloc_usable_size(m_fields.buffer);
    return m_fields.buffer == m_block ? std::min(m_blockBytes, room) : room;
}

bool FrameStore::HoldsPicture(int displayType) const
{
    if (m_referred) {
        return m_referred->displayType == displayType;
    }
    if (m_fields.width < 1 || m_fields.height < 1) {
        return false;
    }
    const size_t width = static_cast<size_t>(m_fields.width);
    const size_t height = static_cast<size_t>(m_fields.height);
    if (displayType == OVEL_DISPLAY_NV12) {
        return Contains(m_fields.nv12Luma, width * height) &&
               Contains(m_fields.nv12Chroma, width * (height / 2));
    }
    return Contains(m_fields.buffer, static_cast<size_t>(PictureBytes(m_fields.width, m_fields.height)));
}

bool FrameStore::Contains(const uint8_t* place, size_t bytes) const
{
    const uint8_t* const begin = m_fields.buffer;
    if (!begin || !place || std::less<>()(place, begin)) {
        return false;
    }
    const size_t offset = static_cast<size_t>(place - begin);
    return offset <= Bytes() && bytes <= Bytes() - offset;
}
