// A polyline as triangles: one separate quad per segment.
#pragma once

#include <vector>

struct Point2F {
    float x;
    float y;
};
static_assert(sizeof(Point2F) == 8, "two packed floats");

struct RectMesh {
    std::vector<Point2F> vecVertex; // start left, start right, end left, end right of the segment's direction
    std::vector<int> vecIndex;      // two triangles
};

// Replaces vecMesh by the quads of the polyline. Segments are neither joined nor capped.
void TriangulateLine(double dLineWidth, const std::vector<Point2F>& vecPoints,
                     std::vector<RectMesh>& vecMesh);
