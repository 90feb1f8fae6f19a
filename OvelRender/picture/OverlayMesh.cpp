#include "OverlayMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace
{

struct Color {
    uint8_t red, green, blue, alpha;
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
    if (IsTranslucent(record)) {
        alpha = std::isnan(record.fAlpha) ? 0.0f : std::clamp(record.fAlpha, 0.0f, 1.0f);
    }
    return {ComponentOf(record.uiColor), ComponentOf(record.uiColor >> 8), ComponentOf(record.uiColor >> 16),
            static_cast<uint8_t>(std::lround(alpha * 255.0f))};
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
    RecordMesher(const OverlayView& view, OverlayMesh& mesh) : m_view(view), m_turn(view.rotate), m_mesh(mesh)
    {
    }

    void Add(const __tagQDrawGraphInfo& record, OverlayKinds kinds)
    {
        const int type = record.iGraphType;
        const bool line = type == OVEL_GRAPH_POLYLINE || IsOutline(type);
        const bool shape = type == OVEL_GRAPH_FILLED && kinds == OverlayKinds::LinesAndShapes;
        if (record.iPointNum < 1 || (!line && !shape) || IsFull()) {
            return;
        }
        const int count = std::min<int>(record.iPointNum, OVEL_GRAPH_POINTS);
        for (int i = 0; i < count; ++i) {
            m_points[static_cast<size_t>(i)] = Map(record.stPoint[i]);
        }
        m_color = ColorOf(record);
        // Lines one pixel wide cost half as much as lines than as quads.
        const bool thin = line && record.iFontSize <= 1 && m_view.scale == 1.0f;
        OverlayVertices& target = thin ? m_mesh.lines : m_mesh.quads;
        MakeRoom(target);
        const size_t before = target.count;
        if (thin) {
            AddThinLines(record, count);
        } else if (line) {
            AddLines(record, count);
        } else {
            AddStrip(static_cast<size_t>(count));
        }
        target.count = static_cast<size_t>(m_next - target.storage.data());
        NoteRun(thin, before, target.count - before);
    }

    // What is added from now on belongs to runs of its own.
    void BeginRun() { m_continues = false; }

private:
    // A closed outline through all points has the most quads.
    static constexpr size_t MostVertices = size_t{OVEL_GRAPH_POINTS} * 4;

    static bool IsOutline(int type) { return type == OVEL_GRAPH_OUTLINE || type == 2; }

    // GL takes the size as an int; what lies beyond is not shown.
    bool IsFull() const
    {
        constexpr size_t most = std::numeric_limits<int>::max() / sizeof(OverlayVertex) - MostVertices;
        return m_mesh.quads.count + m_mesh.lines.count > most;
    }

    // Checked once per record, not per vertex: frames carry records by the thousand.
    void MakeRoom(OverlayVertices& target)
    {
        if (target.storage.size() < target.count + MostVertices) {
            target.storage.resize(2 * target.count + MostVertices);
        }
        m_next = target.storage.data() + target.count;
    }

    void NoteRun(bool lines, size_t first, size_t count)
    {
        std::vector<OverlayRun>& runs = m_mesh.runs;
        if (count == 0) {
            return;
        }
        if (m_continues && runs.back().lines == lines) {
            runs.back().count += static_cast<int>(count);
        } else {
            runs.push_back({lines, static_cast<int>(first), static_cast<int>(count)});
        }
        m_continues = true;
    }

    Position Map(const tagQPOINT& point) const
    {
        const OverlayMapping& m = m_view.mapping;
        return m_turn(
            {static_cast<float>(point.x) / m.kx + m.offX, m.offY - static_cast<float>(point.y) / m.ky});
    }

    void AddThinLines(const __tagQDrawGraphInfo& record, int count)
    {
        const auto add = [this](Position p, Position q) {
            if (!IsFinite(p) || !IsFinite(q)) {
                return;
            }
            AddVertex(p);
            AddVertex(q);
        };
        for (size_t i = 0; i + 1 < static_cast<size_t>(count); ++i) {
            add(m_points[i], m_points[i + 1]);
        }
        if (IsOutline(record.iGraphType) && count > 1) {
            add(m_points[static_cast<size_t>(count) - 1], m_points[0]);
        }
    }

    void AddLines(const __tagQDrawGraphInfo& record, int count)
    {
        // Beyond twice the viewport a wider line covers nothing more.
        const float widest = 2.0f * (m_view.viewportWidth + m_view.viewportHeight);
        const float width =
            std::min(static_cast<float>(std::max(record.iFontSize, 1)) * m_view.scale, widest);
        for (size_t i = 0; i + 1 < static_cast<size_t>(count); ++i) {
            AddSegment(m_points[i], m_points[i + 1], width);
        }
        if (IsOutline(record.iGraphType) && count > 1) {
            AddSegment(m_points[static_cast<size_t>(count) - 1], m_points[0], width);
        }
    }

    void AddSegment(Position p, Position q, float width)
    {
        if (!IsFinite(p) || !IsFinite(q)) {
            return;
        }
        const float dx = std::fabs(q.x - p.x) * m_view.viewportWidth;
        const float dy = std::fabs(q.y - p.y) * m_view.viewportHeight;
        const Position o =
            dx >= dy ? Position{0, width / m_view.viewportHeight} : Position{width / m_view.viewportWidth, 0};
        AddQuad({p.x + o.x, p.y + o.y}, {p.x - o.x, p.y - o.y}, {q.x + o.x, q.y + o.y},
                {q.x - o.x, q.y - o.y});
    }

    void AddStrip(size_t count)
    {
        // Two triangles at a time; one that is left alone is a quad with two corners in one place.
        for (size_t i = 2; i < count;) {
            const Position a = m_points[i - 2];
            const Position b = m_points[i - 1];
            const Position c = m_points[i];
            const bool isWhole = IsFinite(a) && IsFinite(b) && IsFinite(c);
            const bool isPair = isWhole && i + 1 < count && IsFinite(m_points[i + 1]);
            if (isWhole) {
                AddQuad(a, b, c, isPair ? m_points[i + 1] : c);
            }
            i += isPair ? 2 : 1;
        }
    }

    static bool IsFinite(Position p) { return std::isfinite(p.x) && std::isfinite(p.y); }

    void AddQuad(Position a, Position b, Position c, Position d)
    {
        for (const Position p : {a, b, c, d}) {
            AddVertex(p);
        }
    }

    void AddVertex(Position p)
    {
        *m_next++ = {p.x, p.y, {m_color.red, m_color.green, m_color.blue, m_color.alpha}};
    }

    const OverlayView& m_view;
    const ViewTurn m_turn;
    OverlayMesh& m_mesh;
    OverlayVertex* m_next = nullptr;
    bool m_continues = false; // the last run may grow
    Color m_color = {};
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
    mesh.quads.count = mesh.lines.count = 0;
    mesh.runs.clear();
    RecordMesher mesher(view, mesh);
    // Among opaque graphics the last-arrived wins, among translucent ones the first-arrived lies on top.
    bool translucent = false;
    for (int i = 0; i < count; ++i) {
        if (IsTranslucent(records[i])) {
            translucent = true;
        } else {
            mesher.Add(records[i], kinds);
        }
    }
    mesh.opaqueRuns = mesh.runs.size();
    mesher.BeginRun();
    for (int i = count - 1; i >= 0 && translucent; --i) {
        if (IsTranslucent(records[i])) {
            mesher.Add(records[i], kinds);
        }
    }
}
