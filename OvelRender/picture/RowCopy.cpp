#include "RowCopy.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace
{

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

// Gathers bytes into cache lines and stores each line past the cache.
class LineStream
{
public:
    explicit LineStream(uint8_t* target) : m_target(target) {}

    void Append(const uint8_t* source, size_t bytes)
    {
        while (bytes > 0) {
            const size_t room = RoomInLine();
            if (m_filled == 0 && room == LineBytes && bytes >= LineBytes) {
                const size_t whole = bytes - bytes % LineBytes;
                StoreLines(source, whole);
                source += whole;
                bytes -= whole;
                continue;
            }
            const size_t part = std::min(room - m_filled, bytes);
            std::memcpy(m_line + m_filled, source, part);
            m_filled += part;
            source += part;
            bytes -= part;
            if (m_filled == room)
                FlushLine(room);
        }
    }
    // Stores what is left of a line, and makes the order of stores what whoever takes a lock expects.
    void Finish()
    {
        std::memcpy(m_target, m_line, m_filled);
        _mm_sfence();
    }

private:
    static constexpr size_t LineBytes = 64;

    // Less than a line only before the first boundary.
    size_t RoomInLine() const { return LineBytes - reinterpret_cast<uintptr_t>(m_target) % LineBytes; }

    void FlushLine(size_t room)
    {
        if (room == LineBytes) {
            StoreLines(m_line, LineBytes);
        } else {
            std::memcpy(m_target, m_line, room);
            m_target += room;
        }
        m_filled = 0;
    }
    void StoreLines(const uint8_t* source, size_t bytes)
    {
        for (const uint8_t* const end = source + bytes; source != end; source += LineBytes) {
            const auto* from = reinterpret_cast<const __m128i*>(source);
            auto* to = reinterpret_cast<__m128i*>(m_target);
            const __m128i a = _mm_loadu_si128(from);
            const __m128i b = _mm_loadu_si128(from + 1);
            const __m128i c = _mm_loadu_si128(from + 2);
            const __m128i d = _mm_loadu_si128(from + 3);
            _mm_stream_si128(to, a);
            _mm_stream_si128(to + 1, b);
            _mm_stream_si128(to + 2, c);
            _mm_stream_si128(to + 3, d);
            m_target += LineBytes;
        }
    }

    uint8_t* m_target;   // where the bytes in m_line belong
    size_t m_filled = 0; // of m_line
    alignas(LineBytes) uint8_t m_line[LineBytes] = {};
};

void StreamRows(uint8_t* target, const uint8_t* source, ptrdiff_t pitch, size_t rowBytes, int count)
{
    LineStream stream(target);
    for (int row = 0; row < count; ++row)
        stream.Append(source + row * pitch, rowBytes);
    stream.Finish();
}

using RowCopy = void (*)(uint8_t* target, const uint8_t* source, ptrdiff_t pitch, size_t rowBytes, int count);

RowCopy BestRowCopy(Stores stores)
{
    if (stores == Stores::PastCache)
        return StreamRows;
    return __builtin_cpu_supports("avx2") ? CopyRowsAvx2 : CopyRowByRow;
}

#endif

} // namespace

void CopyRowsToRun(uint8_t* target, const uint8_t* source, ptrdiff_t pitch, size_t rowBytes, int count,
                   [[maybe_unused]] Stores stores)
{
#if defined(__x86_64__)
    if (stores == Stores::PastCache || count > 1) {
        BestRowCopy(stores)(target, source, pitch, rowBytes, count);
        return;
    }
#endif
    CopyRowByRow(target, source, pitch, rowBytes, count);
}
