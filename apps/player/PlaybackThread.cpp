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
    Ask([&] { m_stop = true; });
    m_frames.Stop();
    m_thread.join();
}

// Changes what is under the mutex and wakes the thread.
void PlaybackThread::Ask(const std::function<void()>& change)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        change();
    }
    m_wake.notify_all();
}

void PlaybackThread::SetPaused(bool paused)
{
    Ask([&] {
        m_paused = paused;
        m_steps = 0;
    });
}

void PlaybackThread::SeekBy(double seconds)
{
    Ask([&] {
        m_seekTo = std::max(0.0, m_seekTo.value_or(m_position) + seconds);
        m_startsAgain = true;
        m_position = *m_seekTo;
    });
}

void PlaybackThread::SeekTo(double seconds)
{
    Ask([&] {
        m_seekTo = std::max(0.0, seconds);
        m_startsAgain = false;
        m_position = *m_seekTo;
    });
}

void PlaybackThread::Step(int pictures, bool isRepeat)
{
    Ask([&] { m_steps += m_paused && !(isRepeat && m_steps != 0) ? pictures : 0; });
}

void PlaybackThread::SetSpeed(double speed)
{
    Ask([&] { m_speed = speed; });
}

void PlaybackThread::ShowAgain()
{
    Ask([&] { m_showAgain = true; });
}

void PlaybackThread::Run()
{
    if (!m_source) {
        return;
    }
    bool nothingLeft = false;
    while (Idle(nothingLeft)) {
        if (TakeShowAgain()) {
            HandOver();
            continue;
        }
        if (TakeStep()) {
            nothingLeft = false;
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
        m_wake.wait(lock, [&] { return IsAsked() || m_showAgain || (!m_paused && !nothingLeft); });
        m_clockSet = false;
    }
    return !m_stop;
}

bool PlaybackThread::TakeShowAgain()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    // While playing the next picture comes by itself.
    const bool again = m_showAgain && m_facts.Width > 0;
    m_showAgain = false;
    return again;
}

void PlaybackThread::TakeSeek()
{
    std::optional<double> to;
    bool startsAgain = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::swap(to, m_seekTo);
        startsAgain = m_startsAgain;
        m_showOne = m_showOne || (to && m_paused);
    }
    if (!to) {
        return;
    }
    m_clockSet = false;
    if (!m_source->SeekTo(*to)) {
        m_source->SeekTo(startsAgain ? 0.0 : m_source->Time()); // that of the last picture before the end
    }
}

// Shows the picture beside the present one. False when none is asked for, or a seek comes first.
bool PlaybackThread::TakeStep()
{
    bool isForward = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_steps == 0 || m_seekTo || m_showOne) {
            return false;
        }
        isForward = m_steps > 0;
        m_steps -= isForward ? 1 : -1;
    }
    m_clockSet = false;
    if ((isForward ? m_source->Next() : m_source->Previous()) == VideoSource::Step::Frame) {
        HandOver();
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
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_clockSet) {
        m_clockSet = true;
        m_clockStart = Clock::now();
        m_clockTime = time;
        m_clockSpeed = m_speed;
        return true;
    }
    TakeSpeed();
    const double late = Seconds(Clock::now() - DueAt(time)).count();
    if (late > GiveUpAfterSeconds) {
        m_clockSet = false;
    } else if (late > 1.0 / m_source->Facts().FramesPerSecond) {
        m_counter.Dropped();
        m_position = time;
        return false;
    }
    // A pause shows it at once: what the source holds is what is seen.
    while (!IsAsked() && !m_paused && Clock::now() < DueAt(time)) {
        m_wake.wait_until(lock, DueAt(time));
        TakeSpeed();
    }
    return !m_stop && !m_seekTo;
}

PlaybackThread::Clock::time_point PlaybackThread::DueAt(double time) const
{
    return m_clockStart +
           std::chrono::duration_cast<Clock::duration>(Seconds((time - m_clockTime) / m_clockSpeed));
}

// The clock goes on from where it is at the speed asked for. Under m_mutex.
void PlaybackThread::TakeSpeed()
{
    const Clock::time_point now = Clock::now();
    m_clockTime += Seconds(now - m_clockStart).count() * m_clockSpeed;
    m_clockStart = now;
    m_clockSpeed = m_speed;
}

void PlaybackThread::HandOver()
{
    m_counter.HandedOver(); // before the call: its repaint may run at once
    if (m_frames.Show(*m_source) != 0) {
        m_counter.Dropped();
    }
    m_position = m_source->Time();
    m_showOne = false;
    if (m_facts.Width == 0) {
        WaitForFirstPaint();
    }
    if (!(m_source->Facts() == m_facts)) {
        m_facts = m_source->Facts();
        m_events.FactsChanged(m_facts);
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
