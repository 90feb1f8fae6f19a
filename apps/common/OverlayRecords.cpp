#include "OverlayRecords.h"

#include <QTextDocument>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace
{

// At a scale of 1.
constexpr int FontPoints = 11;
constexpr int LetterWidth = 8;
constexpr int WideLetterWidth = 15;
constexpr ushort FirstWideLetter = 0x1100; // Hangul, then Chinese and Japanese
const QChar Nothing(0x200b);               // a space without width
constexpr int PlateHeight = 20;
constexpr int LabelMargin = 11; // that the renderer adds above and below

int32_t Pixel(double position)
{
    return static_cast<int32_t>(std::lround(position));
}

} // namespace

uint32_t GraphColor(const QColor& color)
{
    const auto component = [](double value) {
        return static_cast<uint32_t>(std::lround(126.0 + 126.0 * value));
    };
    return component(color.redF()) | component(color.greenF()) << 8 | component(color.blueF()) << 16;
}

uint32_t LabelColor(const QColor& color)
{
    return static_cast<uint32_t>(color.red() | color.green() << 8 | color.blue() << 16);
}

tagQPOINT PlaceOnPicture(const __tagQDrawCallbackInfo& info, QPointF fraction)
{
    return {info.left + Pixel(fraction.x() * (info.right - info.left)),
            info.top + Pixel(fraction.y() * (info.bottom - info.top))};
}

__tagQDrawGraphInfo MakeGraph(int type, uint32_t color, int lineWidth, const __tagQDrawCallbackInfo& info,
                              std::initializer_list<QPointF> points)
{
    __tagQDrawGraphInfo graph{};
    graph.iGraphType = type;
    graph.uiColor = color;
    graph.iFontSize = lineWidth;
    for (const QPointF& point : points) {
        graph.stPoint[graph.iPointNum++] = PlaceOnPicture(info, point);
    }
    return graph;
}

void SendGraph(const __tagQDrawCallbackInfo& info, __tagQDrawGraphInfo graph)
{
    info.pfnDrawToRender(&graph, sizeof(graph), info.pRender);
}

// Labels take for HTML what Qt::mightBeRichText does. Escaped text would have to pass for it too, in order to
// show without the escapes; a space without width in every tag and entity makes it plain.
QString AsWritten(const QString& text)
{
    if (!Qt::mightBeRichText(text)) {
        return text;
    }
    QString plain = text;
    plain.replace(QLatin1Char('<'), QStringLiteral("<") + Nothing);
    plain.replace(QStringLiteral("&lt;"), QStringLiteral("&") + Nothing + QStringLiteral("lt;"));
    return plain;
}

OverlayLabel MakeLabel(const QString& text, uint32_t color)
{
    OverlayLabel label;
    QString fitting = QLatin1Char(' ') + AsWritten(text.left(OVEL_GRAPH_TEXT_BYTES));
    for (label.Text = fitting.toUtf8(); label.Text.size() >= OVEL_GRAPH_TEXT_BYTES;
         label.Text = fitting.toUtf8()) {
        fitting.chop(fitting.at(fitting.size() - 1).isLowSurrogate() ? 2 : 1);
    }
    label.Width = LetterWidth;
    fitting.remove(Nothing);
    for (const QChar letter : fitting) {
        label.Width += letter.unicode() < FirstWideLetter ? LetterWidth : WideLetterWidth;
    }
    label.Color = color;
    return label;
}

void SendBoxLabel(const __tagQDrawCallbackInfo& info, const TileView& view, const QRectF& box,
                  const OverlayLabel& label)
{
    const QSizeF widget(view.Widget);
    const auto shown = [&](QPointF fraction) {
        const tagQPOINT pixel = PlaceOnPicture(info, fraction);
        const QPointF place = view.View.ToShown({pixel.x / widget.width(), pixel.y / widget.height()});
        return QPoint(static_cast<int>(place.x() * widget.width()),
                      static_cast<int>(place.y() * widget.height()));
    };
    const QPoint one = shown(box.topLeft());
    const QPoint other = shown(box.bottomRight());
    const double scale = LegibleScale(view.Widget);
    const int width = Pixel(label.Width * scale);
    const int height = Pixel(PlateHeight * scale);
    const int left = std::clamp(std::min(one.x(), other.x()), 0, std::max(0, view.Widget.width() - width));
    const int middle = std::max(height / 2, std::min(one.y(), other.y()) - height / 2 - 2);
    __tagQDrawGraphInfo record{};
    record.iGraphType = OVEL_GRAPH_TEXT;
    record.uiColor = label.Color;
    record.iFontSize = Pixel(FontPoints * scale);
    record.iTextCode = OVEL_TEXT_UTF8;
    record.iPointNum = 2;
    const int reach = Pixel(LabelMargin * (scale - 1.0));
    record.stPoint[0] = {left, middle - reach};
    record.stPoint[1] = {left + width, middle + reach};
    const auto bytes = static_cast<size_t>(label.Text.size());
    std::memcpy(record.szText, label.Text.constData(), std::min(bytes, sizeof(record.szText) - 1));
    SendGraph(info, record);

    // Labels have no background of their own: a thick dark line.
    __tagQDrawGraphInfo plate{};
    plate.iGraphType = OVEL_GRAPH_POLYLINE;
    plate.uiColor = GraphColor(QColor(10, 15, 23));
    plate.iFontSize = height;
    for (const int x : {left, left + width}) {
        const QPointF place = view.View.ToUnzoomed({x / widget.width(), middle / widget.height()});
        plate.stPoint[plate.iPointNum++] = {Pixel(place.x() * widget.width()),
                                            Pixel(place.y() * widget.height())};
    }
    SendGraph(info, plate);
}
