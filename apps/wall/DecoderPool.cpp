#include "DecoderPool.h"

namespace
{

using Seconds = std::chrono::duration<double>;

// A stream that is later than this starts its clock anew instead of dropping for ever.
constexpr Seconds GiveUpAfter{1.0};
// However late a tile is, it shows a picture as often as this.
constexpr Seconds LongestGap{0.25};

} // namespace

void DecoderPool::Add(void* renderer, FrameCounter& counter, std::unique_ptr<VideoSource> source,
                      std::function<void(const VideoFacts&)> factsChanged)
{
    const VideoFacts facts = source->Facts();
    m_streams.push_back({std::make_unique<ColoredFrames>(renderer),
                         &counter,
                         std::move(source),
                         std::move(factsChanged),
                         facts,
                         {},
                         {}});
}

void DecoderPool::Start(int threads)
{
    const Clock::time_point now = Clock::now();
    for (size_t index = 0; index < m_streams.size(); ++index) {
        // Spread over one frame time: tiles that are due together would wait for each other.
        const double offset = static_cast<double>(index) / static_cast<double>(m_streams.size());
        const Seconds wait(offset / m_streams[index].Source->Facts().FramesPerSecond);
        m_streams[index].Start = now + std::chrono::duration_cast<Clock::duration>(wait);
        m_jobs.push({m_streams[index].Start, index});
    }
    for (int index = 0; index < threads; ++index) {
        m_threads.emplace_back([this] { Work(); });
    }
}

void DecoderPool::Stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    for (Stream& stream : m_streams) {
        stream.Frames->Stop();
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    m_threads.clear();
}

// Waits until the earliest job is due and takes it. False when the threads are to end.
bool DecoderPool::TakeJob(Job& job)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop) {
        if (m_jobs.empty()) {
            m_wake.wait(lock);
        } else if (m_jobs.top().Due <= Clock::now()) {
            job = m_jobs.top();
            m_jobs.pop();
            return true;
        } else {
            const Clock::time_point due = m_jobs.top().Due;
            m_wake.wait_until(lock, due);
        }
    }
    return false;
}

void DecoderPool::Work()
{
    Job job{};
    while (TakeJob(job)) {
        Stream& stream = m_streams[job.Stream];
        if (!Advance(stream, job.Due)) {
            continue; // a damaged stream keeps its last picture
        }
        HandOver(stream, job.Due);
        job.Due += std::chrono::duration_cast<Clock::duration>(
            Seconds(1.0 / stream.Source->Facts().FramesPerSecond));
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_jobs.push(job);
        }
        m_wake.notify_one();
    }
}

// Decodes the next picture and says when it is due; starts again at the end.
bool DecoderPool::Advance(Stream& stream, Clock::time_point& due)
{
    VideoSource& source = *stream.Source;
    const double lastTime = source.Time();
    VideoSource::Step step = source.Next();
    if (step == VideoSource::Step::End && source.SeekTo(0.0)) {
        const Seconds length(lastTime + 1.0 / source.Facts().FramesPerSecond);
        stream.Start += std::chrono::duration_cast<Clock::duration>(length);
        step = source.Next();
    }
    due = stream.Start + std::chrono::duration_cast<Clock::duration>(Seconds(source.Time()));
    const Clock::time_point now = Clock::now();
    if (now - due > GiveUpAfter) {
        stream.Start += now - due;
        due = now;
    }
    return step == VideoSource::Step::Frame;
}

void DecoderPool::HandOver(Stream& stream, Clock::time_point due)
{
    const Seconds frameTime(1.0 / stream.Source->Facts().FramesPerSecond);
    const Clock::time_point now = Clock::now();
    if (now - due > frameTime && now - stream.LastShown < LongestGap) {
        stream.Counter->Dropped();
        return;
    }
    stream.LastShown = now;
    stream.Counter->HandedOver();
    if (stream.Frames->Show(*stream.Source) != 0) {
        stream.Counter->Dropped();
    }
    if (!(stream.Source->Facts() == stream.Facts)) {
        stream.Facts = stream.Source->Facts();
        stream.FactsChanged(stream.Facts);
    }
}
