// Finds the start codes 00 00 01 of a byte stream at about the speed of memory: blocks without two zero bytes
// in a row are passed over at 64 or 128 bytes a step, whatever else they hold.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace StartCodes
{

constexpr size_t BlockBytes = 64;

inline bool IsStartCode(const unsigned char* bytes)
{
    return bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 1;
}

// A search moves position on to the next whole block of 64 positions below limit in which a start code
// begins, and returns one bit per position; 0 when no whole block is left. It reads up to the byte at limit
// + 1.
using Search = uint64_t (*)(const unsigned char* bytes, size_t& position, size_t limit);

#if defined(__SSE2__)

inline __m128i Load16(const unsigned char* bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

// Zero where a byte and its neighbour are zero.
inline __m128i ZeroPairs16(const unsigned char* bytes)
{
    return _mm_or_si128(Load16(bytes), Load16(bytes + 1));
}

inline uint64_t Match16(const unsigned char* bytes)
{
    const __m128i one = _mm_xor_si128(Load16(bytes + 2), _mm_set1_epi8(1));
    const __m128i code = _mm_cmpeq_epi8(_mm_or_si128(ZeroPairs16(bytes), one), _mm_setzero_si128());
    return static_cast<uint32_t>(_mm_movemask_epi8(code));
}

inline uint64_t SearchSse2(const unsigned char* bytes, size_t& position, size_t limit)
{
    for (; position + BlockBytes <= limit; position += BlockBytes) {
        const unsigned char* block = bytes + position;
        const __m128i low = _mm_min_epu8(ZeroPairs16(block), ZeroPairs16(block + 16));
        const __m128i high = _mm_min_epu8(ZeroPairs16(block + 32), ZeroPairs16(block + 48));
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(low, high), _mm_setzero_si128())) != 0) {
            const uint64_t found = Match16(block) | Match16(block + 16) << 16 | Match16(block + 32) << 32 |
                                   Match16(block + 48) << 48;
            if (found != 0) {
                return found;
            }
        }
    }
    return 0;
}

#define OVEL_AVX2 __attribute__((target("avx2")))

OVEL_AVX2 inline __m256i Load32(const unsigned char* bytes)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

OVEL_AVX2 inline __m256i ZeroPairs32(const unsigned char* bytes)
{
    return _mm256_or_si256(Load32(bytes), Load32(bytes + 1));
}

OVEL_AVX2 inline uint64_t Match32(const unsigned char* bytes)
{
    const __m256i one = _mm256_xor_si256(Load32(bytes + 2), _mm256_set1_epi8(1));
    const __m256i code = _mm256_cmpeq_epi8(_mm256_or_si256(ZeroPairs32(bytes), one), _mm256_setzero_si256());
    return static_cast<uint32_t>(_mm256_movemask_epi8(code));
}

OVEL_AVX2 inline bool HasZeroPair128(const unsigned char* bytes)
{
    const __m256i low = _mm256_min_epu8(ZeroPairs32(bytes), ZeroPairs32(bytes + 32));
    const __m256i high = _mm256_min_epu8(ZeroPairs32(bytes + 64), ZeroPairs32(bytes + 96));
    return _mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_min_epu8(low, high), _mm256_setzero_si256())) != 0;
}

OVEL_AVX2 inline uint64_t SearchAvx2(const unsigned char* bytes, size_t& position, size_t limit)
{
    while (position + BlockBytes <= limit) {
        if (position + 2 * BlockBytes <= limit && !HasZeroPair128(bytes + position)) {
            position += 2 * BlockBytes;
            continue;
        }
        const unsigned char* block = bytes + position;
        const uint64_t found = Match32(block) | Match32(block + 32) << 32;
        if (found != 0) {
            return found;
        }
        position += BlockBytes;
    }
    return 0;
}

#undef OVEL_AVX2

inline Search BestSearch()
{
    return __builtin_cpu_supports("avx2") ? SearchAvx2 : SearchSse2;
}

#else

inline uint64_t SearchPlain(const unsigned char* bytes, size_t& position, size_t limit)
{
    for (; position + BlockBytes <= limit; position += BlockBytes) {
        uint64_t found = 0;
        for (size_t i = 0; i < BlockBytes; ++i) {
            found |= static_cast<uint64_t>(IsStartCode(bytes + position + i)) << i;
        }
        if (found != 0) {
            return found;
        }
    }
    return 0;
}

inline Search BestSearch()
{
    return SearchPlain;
}

#endif

// Calls visit with the byte after each start code that begins at a position below limit, in order, until it
// returns false; returns whether it never did. Reads up to the byte at limit + 1, the visitor what it likes.
template <typename Visit> bool ForEach(const unsigned char* bytes, size_t limit, Search search, Visit&& visit)
{
    size_t position = 0;
    for (; uint64_t found = search(bytes, position, limit); position += BlockBytes) {
        for (; found != 0; found &= found - 1) {
            if (!visit(bytes + position + __builtin_ctzll(found) + 3)) {
                return false;
            }
        }
    }
    for (; position < limit; ++position) {
        if (IsStartCode(bytes + position) && !visit(bytes + position + 3)) {
            return false;
        }
    }
    return true;
}

} // namespace StartCodes
