#include "ColoredFrames.h"

#include "LentPicture.h"
#include "StreamTags.h"
#include "VideoSource.h"

ColoredFrames::ColoredFrames(void* renderer) : m_renderer(renderer) {}

int ColoredFrames::Show(const VideoSource& source)
{
    const AVFrame* const lent = source.Lent();
    return lent != nullptr ? Lend(m_renderer, *lent, source.Frame().uiFrameParam, source.Color())
                           : Show(source.Frame(), source.Color());
}

int ColoredFrames::Show(const tagYuvFrameInfo& frame, const tagOvelColor& color)
{
    if (SameColor(color, m_color)) {
        tagYuvFrameInfo copy = frame;
        return Ovel_ShowYuvFrame(m_renderer, &copy, sizeof(copy));
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    m_pending = &frame;
    m_pendingColor = color;
    m_result = -1;
    if (!m_stopped) {
        QMetaObject::invokeMethod(
            this, [this] { ShowPending(); }, Qt::QueuedConnection);
    }
    m_answer.wait(lock, [this] { return m_stopped || m_pending == nullptr; });
    m_pending = nullptr;
    return m_result;
}

// Stop runs on this thread too, so the frame stays while this runs.
void ColoredFrames::ShowPending()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stopped || m_pending == nullptr) {
            return;
        }
    }
    tagYuvFrameInfo frame = *m_pending;
    tagOvelColor color = m_pendingColor;
    Ovel_SetParam(m_renderer, OVELCMD_SET_COLOR, &color, sizeof(color));
    const int result = Ovel_ShowYuvFrame(m_renderer, &frame, sizeof(frame));
    if (result == 0) {
        m_color = color;
    } else {
        Ovel_SetParam(m_renderer, OVELCMD_SET_COLOR, &m_color, sizeof(m_color)); // of the picture that stays
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_result = result;
        m_pending = nullptr;
    }
    m_answer.notify_one();
}

void ColoredFrames::Stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopped = true;
    }
    m_answer.notify_one();
}
