// Whether a luma plane looks as if nothing was decoded into it. No GL, no Qt.
#pragma once

#include "OvelInterface.h"

// True when the four 10 x 10 corner blocks of a luma plane of at least 10 x 10 samples are all zero, or for
// null.
OVEL_API bool CheckGreen(unsigned char* pYData, int iWidth, int iHeight);
