// What the fast probes and searches must agree with, a byte at a time.
#pragma once

#include "StartCodes.h"

#include <cstdint>
#include <vector>

// Every search that this machine can run.
inline std::vector<StartCodes::Search> Searches()
{
#if defined(__SSE2__)
    return {StartCodes::BestSearch(), StartCodes::SearchSse2};
#else
    return {StartCodes::BestSearch()};
#endif
}

// Whether a search finds the start codes of a buffer, each once and in order.
inline bool FindsAll(StartCodes::Search search, const unsigned char* bytes, size_t length)
{
    const size_t limit = length < 3 ? 0 : length - 2;
    size_t next = 0;
    const auto skip = [&] {
        while (next < limit && !(bytes[next] == 0 && bytes[next + 1] == 0 && bytes[next + 2] == 1)) {
            ++next;
        }
    };
    const auto visit = [&](const unsigned char* header) {
        skip();
        return next < limit && header == bytes + 3 + next++;
    };
    const bool same = StartCodes::ForEach(bytes, limit, search, visit);
    skip();
    return same && next == limit;
}

inline int ReferenceH264(const unsigned char* buf, int len)
{
    if (buf == nullptr) {
        return -1;
    }
    int sps = 0, pps = 0, idr = 0, sli = 0, res = 0;
    uint32_t window = 0xFFFFFFFF;
    for (int i = 0; len >= 3 && i + 2 < len; ++i) {
        window <<= 8;
        if (window == 0x100) {
            const int h = buf[i], type = h & 0x1F, ref = (h >> 5) & 3;
            const bool never = type == 6 || (type >= 9 && type <= 12);
            const bool always = type == 5 || type == 7 || type == 8 || type == 13;
            if (h & 0x80 || (never && ref != 0) || (always && ref == 0)) {
                return 0;
            }
            if (type == 7 && (buf[i + 2] & 3) != 0) {
                return 0;
            }
            const bool padding = h == 0 && buf[i + 1] == 0 && buf[i + 2] == 0;
            res += (type == 0 || (type >= 14 && type <= 18) || type >= 20) && !padding;
            sli += type == 1;
            idr += type == 5;
            sps += type == 7;
            pps += type == 8;
        }
        window |= buf[i];
    }
    return sps >= 1 && pps >= 1 && (idr >= 1 || sli >= 4) && res < sps + pps + idr;
}

inline int ReferenceH265(const unsigned char* buf, int len)
{
    if (buf == nullptr) {
        return -1;
    }
    int vps = 0, sps = 0, pps = 0, irap = 0;
    uint32_t window = 0xFFFFFFFF;
    for (int i = 0; len >= 2 && i + 1 < len; ++i) {
        window <<= 8;
        if (window == 0x100) {
            const int h = buf[i], type = (h >> 1) & 0x3F;
            if ((h & 0x81) != 0 || buf[i + 1] > 7) {
                return 0;
            }
            irap += type >= 16 && type <= 21;
            vps += type == 32;
            sps += type == 33;
            pps += type == 34;
        }
        window |= buf[i];
    }
    return vps >= 1 && sps >= 1 && pps >= 1 && irap >= 1;
}
