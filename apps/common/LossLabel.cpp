#include "LossLabel.h"

#include <QString>

#include <cstring>

namespace
{

constexpr int FontSize = 9;
constexpr int HalfHeight = 8; // the renderer adds 11 pixels above and below
constexpr int LongestLine = 34;

} // namespace

// Rich text: the plate behind it lies with the label, however the view is turned or zoomed.
void LossLabel::SetText(const std::string& line, const std::string& smallPrint)
{
    const auto escaped = [](const std::string& text) {
        return QString::fromStdString(text).left(LongestLine).toHtmlEscaped();
    };
    const QString text = QStringLiteral("<center><p style='background:#902020'>%1<br>%2")
                             .arg(escaped(line), escaped(smallPrint));
    const QByteArray bytes = line.empty() ? QByteArray() : text.toUtf8();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_label = {};
    m_label.iGraphType = OVEL_GRAPH_TEXT;
    m_label.uiColor = 0xffffffU;
    m_label.iFontSize = FontSize;
    m_label.iTextCode = OVEL_TEXT_UTF8;
    m_label.iPointNum = 2;
    std::memcpy(m_label.szText, bytes.constData(),
                std::min<size_t>(static_cast<size_t>(bytes.size()), sizeof(m_label.szText) - 1));
}

void LossLabel::Send(const __tagQDrawCallbackInfo& info)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_label.szText[0] == '\0') {
        return;
    }
    const int middle = (info.top + info.bottom) / 2;
    m_label.stPoint[0] = {info.left, middle - HalfHeight};
    m_label.stPoint[1] = {info.right, middle + HalfHeight};
    info.pfnDrawToRender(&m_label, sizeof(m_label), info.pRender);
}
