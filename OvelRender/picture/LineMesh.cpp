#include "LineMesh.h"

#include <cmath>

void TriangulateLine(double dLineWidth, const std::vector<Point2F>& vecPoints, std::vector<RectMesh>& vecMesh)
{
    vecMesh.clear();
    const int count = static_cast<int>(vecPoints.size());
    if (count < 2) {
        return;
    }

    // Kept between segments, so that only the copies in the list allocate.
    RectMesh mesh;
    const float half = static_cast<float>(dLineWidth) * 0.5f;
    for (int i = 0; i + 1 < count; ++i) {
        const Point2F p = vecPoints[static_cast<size_t>(i)];
        const Point2F q = vecPoints[static_cast<size_t>(i) + 1];
        Point2F d{q.x - p.x, q.y - p.y};
        const float length = std::sqrt(d.x * d.x + d.y * d.y);
        if (length != 0.0f) {
            d.x /= length;
            d.y /= length;
        }
        const Point2F o{-d.y * half, d.x * half};
        mesh.vecVertex.assign(
            {{p.x + o.x, p.y + o.y}, {p.x - o.x, p.y - o.y}, {q.x + o.x, q.y + o.y}, {q.x - o.x, q.y - o.y}});
        mesh.vecIndex.assign({0, 1, 2, 1, 3, 2});
        vecMesh.push_back(mesh);
    }
}
