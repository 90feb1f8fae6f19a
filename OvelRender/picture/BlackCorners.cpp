#include "BlackCorners.h"

#include <cstddef>

bool CheckGreen(unsigned char* pYData, int iWidth, int iHeight)
{
    if (!pYData) {
        return true;
    }
    const auto at = [&](int row, int column) {
        return pYData[static_cast<ptrdiff_t>(row) * iWidth + column];
    };
    for (int row = 0; row < 10; ++row) {
        for (int column = 0; column < 10; ++column) {
            if (at(row, column) || at(row, iWidth - 10 + column) || at(iHeight - 10 + row, column) ||
                at(iHeight - 10 + row, iWidth - 10 + column)) {
                return false;
            }
        }
    }
    return true;
}
