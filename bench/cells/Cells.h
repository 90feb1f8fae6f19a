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

// These run in a process of their own. The first shows a picture in every window and prints what that took.
int Child(const std::string& side, int count, int width, int height);
// Feeds a wall of 1280 x 720 at the tiles' own moments and prints what that took of one CPU, and what was painted.
int ChildWall(bool native, int columns, int width, int height);

} // namespace Bench
