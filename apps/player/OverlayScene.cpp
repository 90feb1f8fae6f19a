#include "OverlayScene.h"

#include <cmath>

namespace
{

constexpr double BoxWidth = 0.18;
constexpr double BoxHeight = 0.30;
constexpr int TrackPoints = 24;
constexpr unsigned FramesPerTrackPoint = 2;
// Light enough over any picture.
const QColor Green = QColor(51, 255, 77);
const QColor Yellow = QColor(255, 217, 0);
const QColor Red = QColor(255, 38, 26);
constexpr uint32_t LabelGreen = 0x8cff8cU;

// Top-left corner of the box in a frame.
QPointF BoxAt(unsigned frame)
{
    const double phase = frame * 0.02;
    return {0.41 + 0.32 * std::sin(phase), 0.33 + 0.20 * std::sin(2.0 * phase + 0.6)};
}

} // namespace

OverlayScene::OverlayScene(std::string name, double framesPerSecond)
    : m_name(std::move(name)), m_framesPerSecond(framesPerSecond)
{
}

void OverlayScene::SetView(const ViewState& view, QSize widget)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_view = {view, widget};
}

void OverlayScene::Draw(const __tagQDrawCallbackInfo& info)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (info.iDstWidth == 0 || info.iDstHeight == 0) {
        return;
    }
    const QPointF box = BoxAt(info.uiFrameParam);
    const QPointF right(BoxWidth, 0.0);
    const QPointF down(0.0, BoxHeight);
    SendGraph(info, MakeGraph(OVEL_GRAPH_OUTLINE, GraphColor(Green), 3, info,
                              {box, box + right, box + right + down, box + down}));

    __tagQDrawGraphInfo track = MakeGraph(OVEL_GRAPH_POLYLINE, GraphColor(Yellow), 2, info, {});
    for (unsigned back = 0; back < TrackPoints; ++back) {
        const unsigned age = back * FramesPerTrackPoint;
        if (age > info.uiFrameParam) {
            break;
        }
        const QPointF foot = BoxAt(info.uiFrameParam - age) + right / 2.0 + down;
        track.stPoint[track.iPointNum++] = PlaceOnPicture(info, foot);
    }
    SendGraph(info, track);

    __tagQDrawGraphInfo zone = MakeGraph(OVEL_GRAPH_FILLED, GraphColor(Red), 1, info,
                                         {{0.22, 0.62}, {0.10, 0.95}, {0.70, 0.62}, {0.82, 0.95}});
    zone.fAlpha = 0.4F;
    SendGraph(info, zone);
    const double time = info.uiFrameParam / m_framesPerSecond;
    const QString text =
        QString::asprintf("%s  %02d:%05.2f  #%u", m_name.c_str(), static_cast<int>(time) / 60,
                          std::fmod(time, 60.0), info.uiFrameParam);
    SendBoxLabel(info, m_view, QRectF(box, QSizeF(BoxWidth, BoxHeight)), MakeLabel(text, LabelGreen));
}
