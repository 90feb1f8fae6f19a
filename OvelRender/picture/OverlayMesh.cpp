#include "OverlayMesh.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace
{

struct Color {
    uint8_t value[4];
};

// c / 126 - 1, clamped as the framebuffer clamps it: the saturated colours 0 and 255 come out exact.
uint8_t ComponentOf(uint32_t byte)
{
    const float shown = static_cast<float>(byte & 0xFFu) / 126.0f - 1.0f;
    return static_cast<uint8_t>(std::lround(std::clamp(shown, 0.0f, 1.0f) * 255.0f));
}

Color ColorOf(const __tagQDrawGraphInfo& record)
{
    // Opaque overlays cover, whatever the window behind is made of; an alpha that is no number covers
    // nothing.
    float alpha = 1.0f;
    if (IsTranslucent(record))
        alpha = std::isnan(record.fAlpha) ? 0.0f : std::clamp(record.fAlpha, 0.0f, 1.0f);
    return {{ComponentOf(record.uiColor), ComponentOf(record.uiColor >> 8), ComponentOf(record.uiColor >> 16),
             static_cast<uint8_t>(std::lround(alpha * 255.0f))}};
}

struct Position {
    float x;
    float y;
};

// Quarter turns and reflections as a 2 x 2 matrix.
struct ViewTurn {
    float xx, xy, yx, yy;

    explicit ViewTurn(const tagOvelVideoRotate& rotate)
    {
        const QMatrix4x4 matrix = ComputeViewMatrix(rotate);
        xx = matrix(0, 0);
        xy = matrix(0, 1);
        yx = matrix(1, 0);
        yy = matrix(1, 1);
    }
    Position operator()(Position p) const { return {xx * p.x + xy * p.y, yx * p.x + yy * p.y}; }
};

class RecordMesher
{
public:
    explicit RecordMesher(const OverlayView& view) : m_view(view), m_turn(view.rotate) {}

    void Add(const __tagQDrawGraphInfo& record, OverlayKinds kinds, std::vector<OverlayVertex>& triangles)
    {
        const int type = record.iGraphType;
        const bool line = type == OVEL_GRAPH_POLYLINE || IsOutline(type);
        const bool shape = type == OVEL_GRAPH_FILLED && kinds == OverlayKinds::LinesAndShapes;
        if (record.iPointNum < 1 || (!line && !shape))
            return;
        const int count = std::min<int>(record.iPointNum, OVEL_GRAPH_POINTS);
        for (int i = 0; i < count; ++i)
            m_points[static_cast<size_t>(i)] = Map(record.stPoint[i]);
        const Color color = ColorOf(record);
        if (line)
            AddLines(record, count, color, triangles);
        else
            AddStrip(count, color, triangles);
    }

private:
    static bool IsOutline(int type) { return type == OVEL_GRAPH_OUTLINE || type == 2; }

    Position Map(const tagQPOINT& point) const
    {
        const OverlayMapping& m = m_view.mapping;
        return m_turn(
            {static_cast<float>(point.x) / m.kx + m.offX, m.offY - static_cast<float>(point.y) / m.ky});
    }

    void AddLines(const __tagQDrawGraphInfo& record, int count, Color color,
                  std::vector<OverlayVertex>& triangles)
    {
        // Beyond twice the viewport a wider line covers nothing more.
        const float widest = 2.0f * (m_view.viewportWidth + m_view.viewportHeight);
        const float width =
            std::min(static_cast<float>(std::max(record.iFontSize, 1)) * m_view.scale, widest);
        for (int i = 0; i + 1 < count; ++i)
            AddSegment(m_points[static_cast<size_t>(i)], m_points[static_cast<size_t>(i) + 1], width, color,
                       triangles);
        if (IsOutline(record.iGraphType) && count > 1)
            AddSegment(m_points[static_cast<size_t>(count) - 1], m_points[0], width, color, triangles);
    }

    void AddSegment(Position p, Position q, float width, Color color,
                    std::vector<OverlayVertex>& triangles) const
    {
        if (!IsFinite(p) || !IsFinite(q))
            return;
        const float dx = std::fabs(q.x - p.x) * m_view.viewportWidth;
        const float dy = std::fabs(q.y - p.y) * m_view.viewportHeight;
        const Position o =
            dx >= dy ? Position{0, width / m_view.viewportHeight} : Position{width / m_view.viewportWidth, 0};
        const Position corner[4] = {
            {p.x + o.x, p.y + o.y}, {p.x - o.x, p.y - o.y}, {q.x + o.x, q.y + o.y}, {q.x - o.x, q.y - o.y}};
        AddTriangle(corner[0], corner[1], corner[2], color, triangles);
        AddTriangle(corner[2], corner[1], corner[3], color, triangles);
    }

    void AddStrip(int count, Color color, std::vector<OverlayVertex>& triangles) const
    {
        for (size_t i = 2; i < static_cast<size_t>(count); ++i) {
            if (IsFinite(m_points[i - 2]) && IsFinite(m_points[i - 1]) && IsFinite(m_points[i]))
                AddTriangle(m_points[i - 2], m_points[i - 1], m_points[i], color, triangles);
        }
    }

    static bool IsFinite(Position p) { return std::isfinite(p.x) && std::isfinite(p.y); }

    static void AddTriangle(Position a, Position b, Position c, Color color,
                            std::vector<OverlayVertex>& triangles)
    {
        for (const Position p : {a, b, c})
            triangles.push_back({p.x, p.y, {color.value[0], color.value[1], color.value[2], color.value[3]}});
    }

    const OverlayView& m_view;
    ViewTurn m_turn;
    std::array<Position, OVEL_GRAPH_POINTS> m_points = {};
};

} // namespace

bool IsTranslucent(const __tagQDrawGraphInfo& record)
{
    return record.iGraphType == OVEL_GRAPH_FILLED && !(record.fAlpha == 0.0f);
}

void BuildOverlayMesh(const __tagQDrawGraphInfo* records, int count, OverlayKinds kinds,
                      const OverlayView& view, OverlayMesh& mesh)
{
    mesh.opaque.clear();
    mesh.translucent.clear();
    RecordMesher mesher(view);
    // Among opaque graphics the last-arrived wins, among translucent ones the first-arrived lies on top.
    for (int i = 0; i < count; ++i) {
        if (!IsTranslucent(records[i]))
            mesher.Add(records[i], kinds, mesh.opaque);
    }
    for (int i = count - 1; i >= 0; --i) {
        if (IsTranslucent(records[i]))
            mesher.Add(records[i], kinds, mesh.translucent);
    }
}
