#include "LentPicture.h"
#include "LiveInput.h"
#include "VideoSourceParts.h"

#include <cmath>
#include <cstdio>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace
{

std::string ErrorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof(text));
    return text;
}

std::string TimeText(double seconds)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%d:%05.2f", static_cast<int>(seconds) / 60, std::fmod(seconds, 60.0));
    return text;
}

// Copies rows of a plane with a pitch into a plane without one.
uint8_t* PackRows(uint8_t* target, const uint8_t* source, int pitch, int width, int rows)
{
    av_image_copy_plane(target, width, source, pitch, width, rows);
    return target + static_cast<size_t>(width) * static_cast<size_t>(rows);
}

} // namespace

bool operator==(const VideoFacts& one, const VideoFacts& other)
{
    const auto isEqual = [](double left, double right) { return !(left < right || right < left); };
    return one.Width == other.Width && one.Height == other.Height && one.View == other.View &&
           isEqual(one.PixelAspect, other.PixelAspect) &&
           isEqual(one.FramesPerSecond, other.FramesPerSecond) && isEqual(one.Duration, other.Duration) &&
           one.Codec == other.Codec && one.Delivered == other.Delivered;
}

bool VideoSource::Parts::OpenFile(const std::string& path, std::string& reason)
{
    AVFormatContext* opened = nullptr;
    int code = Options.Guard ? OpenLiveInput(opened, path, *Options.Guard, Options.IsOverTcp)
                             : avformat_open_input(&opened, path.c_str(), nullptr, nullptr);
    Format.reset(opened);
    if (code >= 0) {
#if LIBAVFORMAT_VERSION_MAJOR < 61
        av_format_inject_global_side_data(opened); // the source's turn, for the first picture
#endif
        if (Options.Guard) {
            Options.Guard->Restart();
        }
        code = avformat_find_stream_info(opened, nullptr);
    }
    if (code < 0) {
        reason = ErrorText(Options.Guard && Options.Guard->IsTimedOut() ? AVERROR(ETIMEDOUT) : code);
        return false;
    }
    return true;
}

bool VideoSource::Parts::OpenDecoder(std::string& reason)
{
    const AVCodec* decoder = nullptr;
    const int index = av_find_best_stream(Format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
    if (index < 0 || decoder == nullptr) {
        reason = index == AVERROR_DECODER_NOT_FOUND ? "no decoder for its video" : "it holds no video";
        return false;
    }
    Stream = Format->streams[index];
    for (unsigned other = 0; other < Format->nb_streams; ++other) {
        Format->streams[other]->discard =
            static_cast<int>(other) == index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    Codec.reset(avcodec_alloc_context3(decoder));
    int code = Codec ? avcodec_parameters_to_context(Codec.get(), Stream->codecpar) : AVERROR(ENOMEM);
    if (code >= 0) {
        Codec->thread_count = 1; // the host's own thread is the decoder thread
        Codec->flags |= Options.Guard ? AV_CODEC_FLAG_LOW_DELAY : 0;
        Codec->pkt_timebase = Stream->time_base;
        code = avcodec_open2(Codec.get(), decoder, nullptr);
    }
    if (code < 0) {
        reason = ErrorText(code);
        return false;
    }
    const AVRational rate = av_guess_frame_rate(Format.get(), Stream, nullptr);
    if (rate.num > 0 && rate.den > 0) {
        Facts.FramesPerSecond = av_q2d(rate);
    }
    Facts.Duration = MeasureDuration();
    Facts.Codec = decoder->name;
    return true;
}

double VideoSource::Parts::MeasureDuration() const
{
    if (Format->pb == nullptr || (Format->pb->seekable & AVIO_SEEKABLE_NORMAL) == 0) {
        return 0.0;
    }
    if (Stream->duration != AV_NOPTS_VALUE) {
        return static_cast<double>(Stream->duration) * av_q2d(Stream->time_base);
    }
    return Format->duration > 0 ? static_cast<double>(Format->duration) / AV_TIME_BASE : 0.0;
}

void VideoSource::Parts::NoteDamage(int code)
{
    DamagedSinceFrame = true;
    if (Damage.empty()) {
        Damage =
            "damaged after " + TimeText(Time) + " (frame " + std::to_string(Count) + "): " + ErrorText(code);
    }
}

// Until the first picture any packet keeps a live source from timing out: its next key frame may be far. After
// that only pictures do.
int VideoSource::Parts::Read()
{
    if (Options.Guard && Count == 0) {
        Options.Guard->Restart();
    }
    int code = Options.Guard && Options.Guard->IsStopped() ? AVERROR_EXIT
                                                           : av_read_frame(Format.get(), Packet.get());
    if (code == AVERROR_EXIT && Options.Guard && !Options.Guard->IsStopped()) {
        code = AVERROR(ETIMEDOUT);
    }
    if (code < 0) {
        Ending = code == AVERROR_EOF ? "the sender has ended" : ErrorText(code);
    }
    return code;
}

// Gives the decoder its next packet. Negative only when nothing more can be read.
int VideoSource::Parts::Feed()
{
    const int code = Read();
    if (code < 0) {
        if (code != AVERROR_EOF) {
            NoteDamage(code);
        }
        Draining = true;
        return avcodec_send_packet(Codec.get(), nullptr);
    }
    const bool isKeyFrame = (Packet->flags & AV_PKT_FLAG_KEY) != 0;
    AwaitsKeyFrame = AwaitsKeyFrame && !(Packet->stream_index == Stream->index && isKeyFrame);
    if (Packet->stream_index == Stream->index && !AwaitsKeyFrame) {
        const bool cut = (Packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
        const int sent = avcodec_send_packet(Codec.get(), Packet.get());
        if (sent < 0 && sent != AVERROR(EAGAIN)) {
            NoteDamage(sent);
        } else if (cut) {
            NoteDamage(AVERROR_INVALIDDATA);
        }
    }
    av_packet_unref(Packet.get());
    return 0;
}

VideoSource::Step VideoSource::Parts::Decode()
{
    const Step step = DecodeOnly();
    if (step == Step::Frame && !Describe()) {
        NoteDamage(AVERROR(ENOSYS));
        return Step::Broken;
    }
    return step;
}

// The next picture with its time, not made ready for a renderer.
VideoSource::Step VideoSource::Parts::DecodeOnly()
{
    for (;;) {
        const int code = avcodec_receive_frame(Codec.get(), Incoming.get());
        if (code >= 0) {
            av_frame_unref(Decoded.get());
            av_frame_move_ref(Decoded.get(), Incoming.get());
            TakeTime();
            ReadUprightView(*Decoded, Facts.View); // mostly with key frames only: it holds from there on
            DamagedSinceFrame = Draining && DamagedSinceFrame;
            ++Count;
            return Step::Frame;
        }
        if (code == AVERROR_EOF || Draining) {
            return DamagedSinceFrame ? Step::Broken : Step::End;
        }
        if (code != AVERROR(EAGAIN)) {
            NoteDamage(code);
        }
        if (Feed() < 0) {
            return Step::Broken;
        }
    }
}

void VideoSource::Parts::TakeTime()
{
    const int64_t stamp = Decoded->best_effort_timestamp;
    if (stamp == AV_NOPTS_VALUE) {
        Time += Count == 0 ? 0.0 : 1.0 / Facts.FramesPerSecond;
        return;
    }
    if (FirstTimeStamp == AV_NOPTS_VALUE) {
        FirstTimeStamp = stamp;
    }
    Time = static_cast<double>(stamp - FirstTimeStamp) * av_q2d(Stream->time_base);
    if (Format->start_time_realtime != AV_NOPTS_VALUE) { // an RTP sender has told
        SentAt = static_cast<double>(Format->start_time_realtime) * 1e-6 +
                 static_cast<double>(stamp) * av_q2d(Stream->time_base);
    }
}

// Says how the decoded picture goes to the renderer.
bool VideoSource::Parts::Describe()
{
    const auto format = static_cast<AVPixelFormat>(Decoded->format);
    const bool isYv12 = format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P;
    const bool wantNv12 = Options.Layout == FrameLayout::Nv12 ||
                          (Options.Layout == FrameLayout::AsDecoded && format == AV_PIX_FMT_NV12);
    const bool direct = wantNv12 ? format == AV_PIX_FMT_NV12 : isYv12;
    const AVPixelFormat target = wantNv12 ? AV_PIX_FMT_NV12 : AV_PIX_FMT_YUV420P;
    const AVFrame* picture = direct ? Decoded.get() : Converter.Convert(*Decoded, target);
    if (picture == nullptr) {
        return false;
    }
    const AVFrame& frame = *picture;
    Info = tagYuvFrameInfo{};
    Info.iWidth = frame.width;
    Info.iHeight = frame.height;
    Info.uiFrameParam = PictureNumber(Time, Facts.FramesPerSecond);
    IsLent = direct && Options.Way == Handover::Reference && CanLend(frame);
    if (IsLent) {
        Block = {};
    } else if (wantNv12) {
        DescribeNv12(frame);
    } else {
        DescribeYv12(frame);
    }
    if (Options.Colors == ColorChoice::Tagged) {
        Color = ColorOf(*Decoded);
    }
    Facts.Width = frame.width;
    Facts.Height = frame.height;
    const AVRational aspect = av_guess_sample_aspect_ratio(Format.get(), Stream, Decoded.get());
    Facts.PixelAspect = aspect.num > 0 && aspect.den > 0 ? av_q2d(aspect) : 1.0;
    if (DeliveredFormat != Decoded->format) {
        DeliveredFormat = Decoded->format;
        const char* name = av_get_pix_fmt_name(format);
        Facts.Delivered = wantNv12 ? "NV12" : "YV12";
        if (!direct) {
            Facts.Delivered += std::string(" from ") + (name != nullptr ? name : "an unnamed format");
        }
        if (IsLent) {
            Facts.Delivered += " by reference";
        }
    }
    return true;
}

// The renderer copies three planes as one block without gaps; the decoder's rows have a pitch.
void VideoSource::Parts::DescribeYv12(const AVFrame& frame)
{
    const auto width = static_cast<size_t>(frame.width);
    const auto height = static_cast<size_t>(frame.height);
    Block.resize(width * height * 3 / 2);
    uint8_t* end = PackRows(Block.data(), frame.data[0], frame.linesize[0], frame.width, frame.height);
    PackRows(end, frame.data[1], frame.linesize[1], frame.width / 2, frame.height / 2);
    // The third plane starts where the renderer looks for it, also when odd sizes leave a gap.
    PackRows(Block.data() + width * height * 5 / 4, frame.data[2], frame.linesize[2], frame.width / 2,
             frame.height / 2);
    Info.iDisplayType = OVEL_DISPLAY_YV12;
    Info.pYuvData = Block.data();
}

// Both planes go in as the decoder left them. Only a decoder with two different pitches costs a copy: the
// descriptor has room for one.
void VideoSource::Parts::DescribeNv12(const AVFrame& frame)
{
    Info.iDisplayType = OVEL_DISPLAY_NV12;
    Info.pPlaneY = frame.data[0];
    Info.pPlaneUV = frame.data[1];
    Info.iPitch = frame.linesize[0];
    if (frame.linesize[0] == frame.linesize[1] && frame.linesize[0] > 0) {
        return;
    }
    const int pitch = (frame.width + 1) / 2 * 2;
    const auto lumaBytes = static_cast<size_t>(pitch) * static_cast<size_t>(frame.height);
    Block.resize(lumaBytes * 2);
    av_image_copy_plane(Block.data(), pitch, frame.data[0], frame.linesize[0], frame.width, frame.height);
    av_image_copy_plane(Block.data() + lumaBytes, pitch, frame.data[1], frame.linesize[1], pitch,
                        frame.height / 2);
    Info.pPlaneY = Block.data();
    Info.pPlaneUV = Block.data() + lumaBytes;
    Info.iPitch = pitch;
}

bool VideoSource::Parts::Begin(const std::string& path, std::string& reason)
{
    if (!OpenFile(path, reason) || !OpenDecoder(reason)) {
        return false;
    }
    if (Decode() != Step::Frame) {
        reason = Options.Guard    ? Ending
                 : Damage.empty() ? "it holds no picture"
                                  : "no picture can be decoded (" + Damage + ")";
        return false;
    }
    FirstHeld = true;
    return true;
}

VideoSource::VideoSource(std::unique_ptr<Parts> parts) : m_parts(std::move(parts)) {}

VideoSource::~VideoSource() = default;

std::unique_ptr<VideoSource> VideoSource::Open(const std::string& path, const SourceOptions& options,
                                               std::string& reason)
{
    av_log_set_level(AV_LOG_QUIET); // the host says in one line what is wrong
    auto parts = std::make_unique<Parts>();
    parts->Options = options;
    if (!parts->Begin(path, reason)) {
        return nullptr;
    }
    return std::unique_ptr<VideoSource>(new VideoSource(std::move(parts)));
}

VideoSource::Step VideoSource::Next()
{
    if (m_parts->FirstHeld) {
        m_parts->FirstHeld = false;
        return Step::Frame;
    }
    if (m_parts->Options.Guard) {
        m_parts->Options.Guard->Restart();
    }
    if (m_parts->Row.TakeNext(*m_parts->Decoded, m_parts->Time)) {
        return m_parts->Describe() ? Step::Frame : Step::Broken;
    }
    m_parts->Row.Clear();
    return m_parts->Decode();
}

const tagYuvFrameInfo& VideoSource::Frame() const
{
    return m_parts->Info;
}

const AVFrame* VideoSource::Lent() const
{
    return m_parts->IsLent ? m_parts->Decoded.get() : nullptr;
}

const tagOvelColor& VideoSource::Color() const
{
    return m_parts->Color;
}

double VideoSource::Time() const
{
    return m_parts->Time;
}

const VideoFacts& VideoSource::Facts() const
{
    return m_parts->Facts;
}

const std::string& VideoSource::Damage() const
{
    return m_parts->Damage;
}

double VideoSource::SentAt() const
{
    return m_parts->SentAt;
}

const std::string& VideoSource::Ending() const
{
    return m_parts->Ending;
}
