#include "OverlayScene.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <initializer_list>

namespace
{

constexpr double BoxWidth = 0.18;
constexpr double BoxHeight = 0.30;
constexpr int TrackPoints = 24;
constexpr unsigned FramesPerTrackPoint = 2;
constexpr int LetterWidth = 8;
constexpr int PlateHeight = 20;

// Lines and shapes show a component c as c / 126 - 1.
uint32_t GraphColor(double red, double green, double blue)
{
    const auto component = [](double value) {
        return static_cast<uint32_t>(std::lround(126.0 + 126.0 * value));
    };
    return component(red) | component(green) << 8 | component(blue) << 16;
}

// Fractions of the picture to widget pixels.
tagQPOINT Place(const __tagQDrawCallbackInfo& info, QPointF fraction)
{
    return {info.left + static_cast<int32_t>(std::lround(fraction.x() * (info.right - info.left))),
            info.top + static_cast<int32_t>(std::lround(fraction.y() * (info.bottom - info.top)))};
}

__tagQDrawGraphInfo MakeGraph(int type, uint32_t color, int lineWidth, const __tagQDrawCallbackInfo& info,
                              std::initializer_list<QPointF> points)
{
    __tagQDrawGraphInfo graph{};
    graph.iGraphType = type;
    graph.uiColor = color;
    graph.iFontSize = lineWidth;
    for (const QPointF& point : points) {
        graph.stPoint[graph.iPointNum++] = Place(info, point);
    }
    return graph;
}

// Top-left corner of the box in a frame.
QPointF BoxAt(unsigned frame)
{
    const double phase = frame * 0.02;
    return {0.41 + 0.32 * std::sin(phase), 0.33 + 0.20 * std::sin(2.0 * phase + 0.6)};
}

void Send(const __tagQDrawCallbackInfo& info, __tagQDrawGraphInfo graph)
{
    info.pfnDrawToRender(&graph, sizeof(graph), info.pRender);
}

} // namespace

OverlayScene::OverlayScene(std::string name, double framesPerSecond)
    : m_name(std::move(name)), m_framesPerSecond(framesPerSecond)
{
}

tagOvelDrawCallback OverlayScene::Payload()
{
    return {&OverlayScene::Draw, this};
}

void OverlayScene::SetView(const ViewState& view, QSize widget)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_view = view;
    m_widget = widget;
}

int OverlayScene::Draw(int, __tagQDrawCallbackInfo* info, int, void* user)
{
    static_cast<OverlayScene*>(user)->DrawFrame(*info);
    return 0;
}

void OverlayScene::DrawFrame(const __tagQDrawCallbackInfo& info)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (info.iDstWidth == 0 || info.iDstHeight == 0) {
        return;
    }
    const QPointF box = BoxAt(info.uiFrameParam);
    const QPointF right(BoxWidth, 0.0);
    const QPointF down(0.0, BoxHeight);
    Send(info, MakeGraph(OVEL_GRAPH_OUTLINE, GraphColor(0.2, 1.0, 0.3), 3, info,
                         {box, box + right, box + right + down, box + down}));

    __tagQDrawGraphInfo track = MakeGraph(OVEL_GRAPH_POLYLINE, GraphColor(1.0, 0.85, 0.0), 2, info, {});
    for (unsigned back = 0; back < TrackPoints; ++back) {
        const unsigned age = back * FramesPerTrackPoint;
        if (age > info.uiFrameParam) {
            break;
        }
        const QPointF foot = BoxAt(info.uiFrameParam - age) + right / 2.0 + down;
        track.stPoint[track.iPointNum++] = Place(info, foot);
    }
    Send(info, track);

    __tagQDrawGraphInfo zone = MakeGraph(OVEL_GRAPH_FILLED, GraphColor(1.0, 0.15, 0.1), 1, info,
                                         {{0.22, 0.62}, {0.10, 0.95}, {0.70, 0.62}, {0.82, 0.95}});
    zone.fAlpha = 0.4F;
    Send(info, zone);
    SendLabel(info, box, box + right + down); // last: opaque overlays that come later lie on top
}

// Labels lie in the shown view and have no background of their own: a thick dark line goes under them. Both
// sit on the box's upper edge as it is shown.
void OverlayScene::SendLabel(const __tagQDrawCallbackInfo& info, QPointF box, QPointF boxEnd) const
{
    __tagQDrawGraphInfo label{};
    const double time = info.uiFrameParam / m_framesPerSecond;
    const int length =
        std::snprintf(label.szText, sizeof(label.szText), " %s  %02d:%05.2f  #%u", m_name.c_str(),
                      static_cast<int>(time) / 60, std::fmod(time, 60.0), info.uiFrameParam);
    const QSizeF widget(m_widget);
    const auto shown = [&](QPointF fraction) {
        const tagQPOINT pixel = Place(info, fraction);
        const QPointF view = m_view.ToShown({pixel.x / widget.width(), pixel.y / widget.height()});
        return QPoint(static_cast<int>(view.x() * widget.width()),
                      static_cast<int>(view.y() * widget.height()));
    };
    const QPoint one = shown(box);
    const QPoint other = shown(boxEnd);
    const int width = std::min<int>(length, OVEL_GRAPH_TEXT_BYTES) * LetterWidth + LetterWidth;
    const int left = std::clamp(std::min(one.x(), other.x()), 0, std::max(0, m_widget.width() - width));
    const int middle = std::max(PlateHeight / 2, std::min(one.y(), other.y()) - PlateHeight / 2 - 2);
    label.iGraphType = OVEL_GRAPH_TEXT;
    label.uiColor = 0x8cff8cU;
    label.iFontSize = 11;
    label.iTextCode = OVEL_TEXT_UTF8;
    label.iPointNum = 2;
    label.stPoint[0] = {left, middle}; // the renderer adds 11 pixels above and below
    label.stPoint[1] = {left + width, middle};
    Send(info, label);

    __tagQDrawGraphInfo plate{};
    plate.iGraphType = OVEL_GRAPH_POLYLINE;
    plate.uiColor = GraphColor(0.04, 0.06, 0.09);
    plate.iFontSize = PlateHeight;
    for (const int x : {left, left + width}) {
        const QPointF place = m_view.ToUnzoomed({x / widget.width(), middle / widget.height()});
        plate.stPoint[plate.iPointNum++] = {static_cast<int32_t>(std::lround(place.x() * widget.width())),
                                            static_cast<int32_t>(std::lround(place.y() * widget.height()))};
    }
    Send(info, plate);
}
