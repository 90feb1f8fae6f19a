#include "PictureRow.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace
{

constexpr size_t MostBytes = size_t{64} << 20;
constexpr size_t LeastPictures = 2;

size_t BytesOf(const AVFrame& picture)
{
    size_t bytes = 0;
    for (const AVBufferRef* buffer : picture.buf) {
        bytes += buffer != nullptr ? static_cast<size_t>(buffer->size) : 0;
    }
    return bytes;
}

} // namespace

void PictureRow::Free::operator()(AVFrame* picture) const
{
    av_frame_free(&picture);
}

void PictureRow::Append(const AVFrame& picture, double time)
{
    AVFrame* const kept = av_frame_clone(&picture);
    if (kept == nullptr) {
        return;
    }
    m_entries.push_back({std::unique_ptr<AVFrame, Free>(kept), time});
    size_t bytes = 0;
    for (const Entry& entry : m_entries) {
        bytes += BytesOf(*entry.Picture);
    }
    while (bytes > MostBytes && m_entries.size() > LeastPictures) {
        bytes -= BytesOf(*m_entries.front().Picture);
        m_entries.pop_front();
    }
    m_present = m_entries.size() - 1;
}

bool PictureRow::TakeBefore(double before, AVFrame& picture, double& time)
{
    size_t entry = m_entries.size();
    while (entry > 0 && !IsBefore(m_entries[entry - 1].Time, before)) {
        --entry;
    }
    return entry > 0 && Take(entry - 1, picture, time);
}

bool PictureRow::TakeNext(AVFrame& picture, double& time)
{
    return m_present + 1 < m_entries.size() && Take(m_present + 1, picture, time);
}

bool PictureRow::Take(size_t entry, AVFrame& picture, double& time)
{
    av_frame_unref(&picture);
    if (av_frame_ref(&picture, m_entries[entry].Picture.get()) < 0) {
        return false;
    }
    time = m_entries[entry].Time;
    m_present = entry;
    return true;
}
