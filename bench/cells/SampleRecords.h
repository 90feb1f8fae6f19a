// Overlay records as hosts send them.
#pragma once

#include "Displays.h"

namespace Bench
{

__tagQDrawGraphInfo Graphic(int type, int index, int points);
Records Labels(int count, int round);

} // namespace Bench
