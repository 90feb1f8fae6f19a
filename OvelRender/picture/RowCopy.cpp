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
        if (whole < rowBytes) {
            std::memcpy(target + whole, source + whole, rowBytes - whole);
        }
        target += rowBytes;
        source += pitch;
    }
}

// Whole lines go past the cache; where a row begins or ends within a line, that line is written in it.
__attribute__((target("avx2"))) void StreamRowsAvx2(uint8_t* target, const uint8_t* source, ptrdiff_t pitch,
                                                    size_t rowBytes, int count)
{
    constexpr size_t line = 2 * sizeof(__m256i);
    for (int row = 0; row < count; ++row) {
        const size_t toBoundary = (line - reinterpret_cast<uintptr_t>(target) % line) % line;
        const size_t head = std::min(toBoundary, rowBytes);
        const size_t tail = (rowBytes - head) % line;
        if (head > 0) {
            std::memcpy(target, source, head);
        }
        for (size_t i = head; i < rowBytes - tail; i += line) {
            const auto* from = reinterpret_cast<const __m256i*>(source + i);
            auto* to = reinterpret_cast<__m256i*>(target + i);
            const __m256i a = _mm256_loadu_si256(from);
            const __m256i b = _mm256_loadu_si256(from + 1);
            _mm256_stream_si256(to, a);
            _mm256_stream_si256(to + 1, b);
        }
        if (tail > 0) {
            std::memcpy(target + rowBytes - tail, source + rowBytes - tail, tail);
        }
        target += rowBytes;
        source += pitch;
    }
    _mm_sfence(); // makes the order of stores what whoever takes a lock expects
}

using RowCopy = void (*)(uint8_t* target, const uint8_t* source, ptrdiff_t pitch, size_t rowBytes, int count);

RowCopy BestRowCopy(Stores stores)
{
    if (!__builtin_cpu_supports("avx2")) {
        return CopyRowByRow;
    }
    return stores == Stores::PastCache ? StreamRowsAvx2 : CopyRowsAvx2;
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
