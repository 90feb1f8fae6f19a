#include "BlackCorners.h"

#include <cstddef>

bool HasBlackCorners(const unsigned char* luma, int width, int height)
{
    const auto at = [&](int row, int column) { return luma[static_cast<ptrdiff_t>(row) * width + column]; };
    for (int row = 0; row < 10; ++row) {
        for (int column = 0; column < 10; ++column) {
            if (at(row, column) || at(row, width - 10 + column) || at(height - 10 + row, column) ||
                at(height - 10 + row, width - 10 + column)) {
                return false;
            }
        }
    }
    return true;
}
