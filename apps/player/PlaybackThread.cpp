#include "PlaybackThread.h"

#include <algorithm>

namespace
{

using Seconds = std::chrono::duration<double>;

// Later than this the clock starts anew: the machine was asleep, or cannot keep up at all.
constexpr double GiveUpAfterSeconds = 0.5;

constexpr auto FirstPaintRound = std::chrono::milliseconds(5);
constexpr int FirstPaintRounds = 100;

} // namespace

PlaybackThread::PlaybackThread(void* renderer, std::unique_ptr<VideoSource> source, FrameCounter& counter,
                               bool once, PlaybackEvents events)
    : m_frames(renderer), m_source(std::move(source)), m_counter(counter), m_once(once),
      m_events(std::move(events)), m_thread([this] { Run(); })
{
}

PlaybackThread::~PlaybackThread()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    m_frames.Stop();
    m_thread.join();
}

void PlaybackThread::SetPaused(bool paused)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_paused = paused;
    }
    m_wake.notify_all();
}

void PlaybackThread::SeekBy(double seconds)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_seekBy += seconds;
    }
    m_wake.notify_all();
}

void PlaybackThread::ShowAgain()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_showAgain = true;
    }
    m_wake.notify_all();
}

void PlaybackThread::Run()
{
    bool nothingLeft = false;
    while (Idle(nothingLeft)) {
        if (TakeShowAgain()) {
            HandOver();
            continue;
        }
        TakeSeek();
        const VideoSource::Step step = Advance();
        if (step == VideoSource::Step::Broken && m_events.Broke) {
            m_events.Broke(m_source->Damage());
        }
        nothingLeft = step != VideoSource::Step::Frame;
        if (!nothingLeft && WaitUntilDue()) {
            HandOver();
        }
    }
}

// Sleeps while there is nothing to do. False when the thread is to end.
bool PlaybackThread::Idle(bool nothingLeft)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if ((m_paused || nothingLeft) && !m_showOne) {
        m_wake.wait(lock,
                    [&] { return m_stop || m_showAgain || m_seekBy != 0.0 || (!m_paused && !nothingLeft); });
        m_clockSet = false;
    }
    return !m_stop;
}

bool PlaybackThread::TakeShowAgain()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    // While playing the next picture comes by itself.
    const bool again = m_showAgain && m_width > 0;
    m_showAgain = false;
    return again;
}

bool PlaybackThread::TakeSeek()
{
    double by = 0.0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::swap(by, m_seekBy);
        m_showOne = m_showOne || (by != 0.0 && m_paused);
    }
    if (by == 0.0) {
        return false;
    }
    m_clockSet = false;
    if (!m_source->SeekTo(std::max(0.0, m_position + by))) {
        m_source->SeekTo(0.0); // past the end: from the start again
    }
    return true;
}

// The next picture, from the start again at the end of the file.
VideoSource::Step PlaybackThread::Advance()
{
    const VideoSource::Step step = m_source->Next();
    if (step != VideoSource::Step::End || m_once || !m_source->SeekTo(0.0)) {
        return step;
    }
    // The last picture stays for its own time before the first one follows.
    if (m_clockSet) {
        m_clockTime -= m_position + 1.0 / m_source->Facts().FramesPerSecond;
    }
    return m_source->Next();
}

// False when the picture is too late to be worth showing, or is not wanted any more.
bool PlaybackThread::WaitUntilDue()
{
    const double time = m_source->Time();
    if (!m_clockSet) {
        m_clockSet = true;
        m_clockStart = Clock::now();
        m_clockTime = time;
        return true;
    }
    const auto due = m_clockStart + std::chrono::duration_cast<Clock::duration>(Seconds(time - m_clockTime));
    const double late = Seconds(Clock::now() - due).count();
    if (late > GiveUpAfterSeconds) {
        m_clockSet = false;
    } else if (late > 1.0 / m_source->Facts().FramesPerSecond) {
        m_counter.Dropped();
        m_position = time;
        return false;
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wake.wait_until(lock, due, [&] { return m_stop || m_seekBy != 0.0; });
    return !m_stop && m_seekBy == 0.0;
}

void PlaybackThread::HandOver()
{
    const tagYuvFrameInfo& frame = m_source->Frame();
    m_counter.HandedOver(); // before the call: its repaint may run at once
    if (m_frames.Show(*m_source) != 0) {
        m_counter.Dropped();
    }
    m_position = m_source->Time();
    m_showOne = false;
    if (m_width == 0) {
        WaitForFirstPaint();
    }
    if (frame.iWidth != m_width || frame.iHeight != m_height) {
        m_width = frame.iWidth;
        m_height = frame.iHeight;
        m_events.SizeChanged(m_source->Facts());
    }
}

// The first paint builds programs and textures; the clock starts after it, so that it costs no frame.
void PlaybackThread::WaitForFirstPaint()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (int round = 0; round < FirstPaintRounds && !m_stop && m_counter.Shown() == 0; ++round) {
        m_wake.wait_for(lock, FirstPaintRound);
    }
    m_clockSet = false;
}
