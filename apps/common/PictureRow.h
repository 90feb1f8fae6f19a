// The last decoded pictures of a pass through a file, kept so that steps back and forth among them need no
// decoding. Holds references to the decoder's memory, 64 MiB of it at most, and two pictures at least.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>

struct AVFrame;

class PictureRow
{
public:
    void Clear() { m_entries.clear(); }
    // The picture becomes the present one. In order of time.
    void Append(const AVFrame& picture, double time);

    // Stamps of one picture may come out of two passes through a file with different roundings.
    static bool IsBefore(double time, double other) { return time < other - 0.0005; }

    // The last picture before a time, or the one after the present one, becomes the present one and is given
    // with its time. False, and nothing changes, when the row has none.
    bool TakeBefore(double before, AVFrame& picture, double& time);
    bool TakeNext(AVFrame& picture, double& time);

private:
    struct Free {
        void operator()(AVFrame* picture) const;
    };
    struct Entry {
        std::unique_ptr<AVFrame, Free> Picture;
        double Time;
    };
    bool Take(size_t entry, AVFrame& picture, double& time);

    std::deque<Entry> m_entries;
    size_t m_present = 0;
};
