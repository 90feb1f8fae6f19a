// A video file or a live source as a row of pictures for a renderer: demuxing, decoding and, where the renderer
// does not take what the decoder gives, conversion. Used by one thread at a time.
#pragma once

#include "StreamTags.h"

#include <OvelInterface.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>

class LiveGuard;

enum class FrameLayout { AsDecoded, Yv12, Nv12 };
enum class ColorChoice { Tagged, Plain }; // as the tags say, or by the renderer's own formulas
enum class Handover { Reference, Copy };  // what can be lent is lent, or all is copied

struct SourceOptions {
    FrameLayout Layout = FrameLayout::AsDecoded;
    ColorChoice Colors = ColorChoice::Tagged;
    Handover Way = Handover::Reference;
    // A live source has one: what blocks, opening and Next, ends with its time-out or when it is stopped.
    std::shared_ptr<LiveGuard> Guard{};
    bool IsOverTcp = false; // how RTSP brings its pictures
};

// What the status line and the overlays want to know about a file.
struct VideoFacts {
    int Width = 0;
    int Height = 0;
    double FramesPerSecond = 25.0;
    double PixelAspect = 1.0; // width of a sample divided by its height
    double Duration = 0.0;    // seconds; 0 where it is not known or nothing can be sought
    UprightView View;         // how the file wants to be turned
    std::string Codec;
    std::string Delivered; // how the pictures reach the renderer
};

// Any of it may change in mid-stream.
bool operator==(const VideoFacts& one, const VideoFacts& other);

// The number that a picture of that time goes to the renderer with.
inline uint32_t PictureNumber(double seconds, double framesPerSecond)
{
    return static_cast<uint32_t>(std::llround(std::max(0.0, seconds) * framesPerSecond));
}

struct AVFrame;

class VideoSource
{
public:
    enum class Step { Frame, End, Broken };

    // Opens a file and decodes its first picture, so that a file without any is refused here. Null with a
    // one-line reason when there is nothing to show.
    static std::unique_ptr<VideoSource> Open(const std::string& path, const SourceOptions& options,
                                             std::string& reason);
    ~VideoSource();
    VideoSource(const VideoSource&) = delete;
    VideoSource& operator=(const VideoSource&) = delete;

    // Goes to the next picture. Damaged packets are skipped; Broken means that none comes after the damage.
    Step Next();
    // Goes back to the first picture, or to the one shown at a time in seconds. False when the file cannot
    // seek.
    bool SeekTo(double seconds);
    // Goes to the picture before the present one, exactly, whatever lies between key frames: everything from
    // the key frame before is decoded, and its last pictures are kept for further steps. End: there is none,
    // or the file cannot seek.
    Step Previous();

    // The picture of the last Next that gave a frame; its memory stays until the following one that does. One
    // that is to be lent has a description without planes.
    const tagYuvFrameInfo& Frame() const;
    const AVFrame* Lent() const; // null: to be copied
    const tagOvelColor& Color() const;
    double Time() const; // of that picture, seconds after the first one
    const VideoFacts& Facts() const;
    // Where and why the stream is damaged, empty while it is sound.
    const std::string& Damage() const;
    // Why a live source gives nothing more, in a few words.
    const std::string& Ending() const;
    // What the sender's clock said when it sent the picture, in seconds since 1970; NaN while it is not known.
    // By the sender's first report: it does not follow clocks that drift apart.
    double SentAt() const;

private:
    struct Parts;
    explicit VideoSource(std::unique_ptr<Parts> parts);
    std::unique_ptr<Parts> m_parts;
};
