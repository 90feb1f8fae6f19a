// Going elsewhere in a file, exactly.
#include "VideoSourceParts.h"

#include <algorithm>

VideoSource::Step VideoSource::Previous()
{
    Parts& parts = *m_parts;
    const double present = parts.Time;
    if (present <= 0.0) {
        return Step::End;
    }
    parts.FirstHeld = false;
    if (!parts.Row.TakeBefore(present, *parts.Decoded, parts.Time)) {
        if (!parts.GoBefore(present - 0.5 / parts.Facts.FramesPerSecond)) {
            return Step::End;
        }
        do {
            parts.Row.Append(*parts.Decoded, parts.Time);
        } while (PictureRow::IsBefore(parts.Time, present) && parts.DecodeOnly() == Step::Frame);
        if (!parts.Row.TakeBefore(present, *parts.Decoded, parts.Time)) {
            return parts.Describe() ? Step::End : Step::Broken; // the first one that can be decoded
        }
    }
    return parts.Describe() ? Step::Frame : Step::Broken;
}

// To where the file thinks that a decoder may begin for the picture of that time.
bool VideoSource::Parts::GoToKeyFrame(double seconds)
{
    const int64_t first = FirstTimeStamp == AV_NOPTS_VALUE ? 0 : FirstTimeStamp;
    const auto stamp = first + static_cast<int64_t>(seconds / av_q2d(Stream->time_base));
    if (avformat_seek_file(Format.get(), Stream->index, INT64_MIN, stamp, stamp, 0) < 0 &&
        av_seek_frame(Format.get(), Stream->index, 0, AVSEEK_FLAG_BYTE) < 0) {
        return false;
    }
    Row.Clear();
    avcodec_flush_buffers(Codec.get());
    Draining = false;
    DamagedSinceFrame = false;
    AwaitsKeyFrame = true;
    Count = 0;
    Time = 0.0;
    Facts.View = {}; // a later part may have changed it; that of the beginning comes with the first packet
    return true;
}

// Decodes the first picture of a pass that begins at or before that time. Some files are wrong about where:
// their key frame may show later, or lie further on; then an earlier one serves.
bool VideoSource::Parts::GoBefore(double seconds)
{
    double from = std::max(0.0, seconds);
    for (double reach = 1.0; GoToKeyFrame(from); reach *= 4.0) {
        const bool hasPicture = DecodeOnly() == Step::Frame;
        if (from < 0.0 || (hasPicture && Time <= seconds)) {
            return hasPicture;
        }
        // Below 0 at last: what is sought by time of decoding begins before the first picture shows.
        from = from > 0.0 ? std::max(0.0, seconds - reach) : -1.0;
    }
    return false;
}

bool VideoSource::SeekTo(double seconds)
{
    Parts& parts = *m_parts;
    const double tolerance = 0.5 / parts.Facts.FramesPerSecond;
    if (!parts.GoBefore(seconds + tolerance)) {
        return false;
    }
    while (parts.Time + tolerance < seconds) {
        if (parts.DecodeOnly() != Step::Frame) {
            return false;
        }
    }
    parts.FirstHeld = parts.Describe();
    return parts.FirstHeld;
}
