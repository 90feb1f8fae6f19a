// The cells of bench_window: each prints its own table.
#pragma once

#include "Stage.h"

namespace Bench
{

void CellIntake();
void CellPaint();
void CellReference();
void CellOverlays();
void CellThin();
void CellLabels();
void CellWall();
void CellNative();
void CellFeeders();
void CellLatency();
void CellFirst();
void CellMemory();
void CellIdle();

// Runs in a process of its own: shows a picture in every window and prints what that took.
int Child(const std::string& side, int count, int width, int height);

} // namespace Bench
