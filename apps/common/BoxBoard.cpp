#include "BoxBoard.h"

#include "VideoSource.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace
{

constexpr double LineWidth = 3.0;
constexpr size_t MostNewest = 256;
// What a detector says about one picture comes in several lines.
constexpr auto OneGoing = std::chrono::milliseconds(20);

} // namespace

BoxBoard::BoxBoard(double framesPerSecond, size_t mostBoxes)
    : m_mostBoxes(mostBoxes), m_framesPerSecond(framesPerSecond)
{
}

void BoxBoard::Add(const BoxLine& line)
{
    Box box{line.Place, GraphColor(line.Color), line.Stays, {}};
    if (!line.Label.isEmpty()) {
        box.Label = MakeLabel(line.Label, LabelColor(line.Color));
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!line.Time) {
        AddToNewest(std::move(box));
        m_isChanged = true;
        return;
    }
    m_isChanged = m_isChanged || (m_hasDrawn && !IsOver(box, Number(*line.Time)));
    m_timed.emplace(*line.Time, std::move(box));
    if (m_timed.size() > m_mostBoxes) {
        m_timed.erase(m_timed.begin());
    }
}

void BoxBoard::SetRate(double framesPerSecond)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_framesPerSecond = framesPerSecond;
}

// Under the mutex, as the three below.
uint32_t BoxBoard::Number(double seconds) const
{
    return PictureNumber(seconds, m_framesPerSecond);
}

void BoxBoard::AddToNewest(Box box)
{
    const Clock::time_point now = Clock::now();
    if (now - m_newestSince > OneGoing) {
        m_newest.clear();
        m_newestSince = now;
        m_newestNumber.reset();
        if (m_hasDrawn) {
            m_newestNumber = m_drawn;
        }
    }
    if (m_newest.size() < MostNewest) {
        m_newest.push_back(std::move(box));
    }
}

// For the picture drawn last, also when that one comes before its own.
bool BoxBoard::IsOver(const Box& box, uint32_t own) const
{
    return m_drawn < own || m_drawn - own > Number(box.Stays);
}

void BoxBoard::DrawBox(const __tagQDrawCallbackInfo& info, const Box& box) const
{
    if (!box.Place || box.Place->isEmpty()) {
        return;
    }
    const QRectF& place = *box.Place;
    const int lineWidth = static_cast<int>(std::lround(LineWidth * LegibleScale(m_view.Widget)));
    SendGraph(info, MakeGraph(OVEL_GRAPH_OUTLINE, box.LineColor, lineWidth, info,
                              {place.topLeft(), place.topRight(), place.bottomRight(), place.bottomLeft()}));
}

void BoxBoard::SetView(const ViewState& view, QSize widget)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_view = {view, widget};
}

void BoxBoard::Draw(const __tagQDrawCallbackInfo& info)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_drawn = info.uiFrameParam;
    m_hasDrawn = true;
    if (info.iDstWidth == 0 || info.iDstHeight == 0 || m_view.Widget.isEmpty()) {
        return;
    }
    m_shown.clear();
    // The last ones whose picture has come, and those of the same picture before them.
    auto each = m_timed.lower_bound((m_drawn + 0.5) / m_framesPerSecond);
    const uint32_t own = each != m_timed.begin() ? Number(std::prev(each)->first) : 0;
    while (each != m_timed.begin() && Number((--each)->first) == own) {
        if (!IsOver(each->second, own)) {
            m_shown.push_back(&each->second);
        }
    }
    std::reverse(m_shown.begin(), m_shown.end()); // as they came
    const uint32_t newestOwn = m_newestNumber.value_or(m_drawn);
    m_newestNumber = newestOwn;
    const auto isOver = [&](const Box& box) { return IsOver(box, newestOwn); };
    m_newest.erase(std::remove_if(m_newest.begin(), m_newest.end(), isOver), m_newest.end());
    for (const Box& box : m_newest) {
        m_shown.push_back(&box);
    }
    for (const Box* box : m_shown) {
        DrawBox(info, *box);
    }
    for (const Box* box : m_shown) {
        if (box->Place && !box->Label.Text.isEmpty()) {
            SendBoxLabel(info, m_view, *box->Place, box->Label);
        }
    }
}

void BoxBoard::OnChange(std::function<void()> changed)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_changed = std::move(changed);
}

void BoxBoard::Announce()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (std::exchange(m_isChanged, false) && m_changed) {
        m_changed();
    }
}
