// Copies rows into one run of bytes the way the processor does it best. No GL, no Qt.
#pragma once

#include <cstddef>
#include <cstdint>

enum class Stores {
    Cached,    // for bytes that this thread wrote last
    PastCache, // for bytes that another thread has read since: their lines are not fetched back to be
               // overwritten
};

// Copies count rows of rowBytes each, pitch bytes apart in the source, to the target without gaps.
void CopyRowsToRun(uint8_t* target, const uint8_t* source, ptrdiff_t pitch, size_t rowBytes, int count,
                   Stores stores);
