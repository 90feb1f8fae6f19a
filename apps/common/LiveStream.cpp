#include "LiveStream.h"

#include <QTime>

#include <algorithm>
#include <array>
#include <limits>

namespace
{

constexpr double FirstPauseSeconds = 0.5;
// A thread that does not answer by then is inside a call that cannot be interrupted, such as a name look-up.
constexpr std::chrono::seconds Patience{1};

double SecondsSince1970()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

} // namespace

// Half a second, then twice as long each time that the source does not come back.
class LiveStream::Pause
{
public:
    explicit Pause(double longest) : m_longest(longest) { Reset(); }
    void Reset() { m_next = std::min(FirstPauseSeconds, m_longest); }
    bool Wait(LiveGuard& guard)
    {
        const LiveGuard::Seconds length(m_next);
        m_next = std::min(2.0 * m_next, m_longest);
        return guard.Wait(length);
    }

private:
    const double m_longest;
    double m_next = 0.0;
};

LiveStream::LiveStream(void* renderer, std::string url, const LiveOptions& options, FrameCounter& counter,
                       LossLabel& label, std::function<void(const VideoFacts&)> factsChanged)
    : m_frames(renderer), m_counter(counter), m_label(label), m_factsChanged(std::move(factsChanged)),
      m_delay(std::numeric_limits<double>::quiet_NaN()),
      m_guard(std::make_shared<LiveGuard>(LiveGuard::Seconds(options.TimeoutSeconds)))
{
    std::packaged_task<void()> task(
        [self = this, guard = m_guard, url = std::move(url), options] { Run(self, guard, url, options); });
    m_ended = task.get_future();
    m_thread = std::thread(std::move(task));
}

LiveStream::~LiveStream()
{
    Stop();
    if (m_ended.wait_until(m_stoppedAt + Patience) == std::future_status::ready) {
        m_thread.join();
    } else {
        m_thread.detach(); // it looks at the guard before it looks at this object again
    }
}

void LiveStream::Stop()
{
    if (!m_guard->IsStopped()) {
        m_stoppedAt = Clock::now();
        m_guard->Stop();
        m_frames.Stop();
    }
}

LiveFigures LiveStream::Figures() const
{
    return {m_state, m_received, m_losses, m_delay};
}

// What blocks, opening and reading, leaves the object alone: it may be gone when that returns.
void LiveStream::Run(LiveStream* self, const std::shared_ptr<LiveGuard>& guard, const std::string& url,
                     LiveOptions options)
{
    Pause pause(options.LongestPauseSeconds);
    options.Source.Guard = guard;
    self->m_label.SetText("waiting for the source", {});
    self->ShowBlack();
    do {
        std::string reason;
        const std::unique_ptr<VideoSource> source = VideoSource::Open(url, options.Source, reason);
        if (source && !guard->IsStopped()) {
            pause.Reset();
            reason = Play(*self, *source, *guard);
        } else {
            options.Source.IsOverTcp = !options.Source.IsOverTcp; // where UDP does not get through
        }
        if (guard->IsStopped()) {
            return;
        }
        self->SayLost(source.get(), reason);
    } while (pause.Wait(*guard)); // without the decoder: the source is closed
}

// Plays as long as there are pictures; why there are none any more.
std::string LiveStream::Play(LiveStream& self, VideoSource& source, LiveGuard& guard)
{
    const bool isRecording = source.Facts().Duration > 0.0; // behind a URL: played by its own clock
    auto start = Clock::now();
    for (;;) {
        VideoSource::Step step = source.Next();
        if (step == VideoSource::Step::End && isRecording && source.SeekTo(0.0)) {
            step = source.Next();
            start = Clock::now();
        }
        if (guard.IsStopped()) {
            return {};
        }
        if (step != VideoSource::Step::Frame) {
            return source.Ending().empty() ? "its pictures cannot be shown" : source.Ending();
        }
        if (isRecording && !guard.Wait(start + LiveGuard::Seconds(source.Time()) - Clock::now())) {
            return {};
        }
        self.HandOver(source);
    }
}

void LiveStream::HandOver(const VideoSource& source)
{
    ++m_received;
    m_delay = SecondsSince1970() - source.SentAt();
    if (m_state != LiveState::Playing) {
        m_state = LiveState::Playing;
        m_label.SetText({}, {});
    } else if (m_paused) {
        return;
    }
    m_counter.HandedOver(); // before the call: its repaint may run at once
    if (m_frames.Show(source) != 0) {
        m_counter.Dropped();
    }
    if (!(source.Facts() == m_facts)) {
        m_facts = source.Facts();
        m_factsChanged(m_facts);
    }
}

// The picture goes in once more, because the label comes with a picture. A source that could not be opened
// again leaves the label that is there.
void LiveStream::SayLost(const VideoSource* source, const std::string& reason)
{
    const bool wasPlaying = m_state.exchange(LiveState::Lost) == LiveState::Playing;
    m_delay = std::numeric_limits<double>::quiet_NaN();
    if (wasPlaying) {
        ++m_losses;
        const std::string time = QTime::currentTime().toString(QStringLiteral("HH:mm:ss")).toStdString();
        m_label.SetText("no picture since " + time, reason);
        m_frames.Show(*source);
    } else if (m_facts.Width == 0) {
        m_label.SetText("waiting for the source", reason);
        ShowBlack();
    }
}

void LiveStream::ShowBlack()
{
    constexpr int side = 16;
    std::array<uint8_t, side * side * 3 / 2> planes{};
    planes.fill(128);
    std::fill_n(planes.begin(), side * side, uint8_t{0}); // the luma
    tagYuvFrameInfo frame{};
    frame.iWidth = side;
    frame.iHeight = side;
    frame.iDisplayType = OVEL_DISPLAY_YV12;
    frame.pYuvData = planes.data();
    m_frames.Show(frame, {});
}
