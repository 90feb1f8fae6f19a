#include "LiveInput.h"

#include <algorithm>
#include <cctype>

extern "C" {
#ifdef OVEL_HAVE_AVDEVICE
#include <libavdevice/avdevice.h>
#endif
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

namespace
{

// Long enough for the parameter sets of a sender that repeats them every second; without them the decoder
// finds them by itself later.
constexpr int64_t ProbeMicroseconds = 1000000;

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool IsDevice(const std::string& name)
{
    return name.rfind("/dev/video", 0) == 0;
}

bool IsSessionDescription(const std::string& name)
{
    return EndsWith(name, ".sdp") && name.find("://") == std::string::npos;
}

#if LIBAVFORMAT_VERSION_MAJOR < 59
using InputFormat = AVInputFormat;
#else
using InputFormat = const AVInputFormat;
#endif

InputFormat* FormatOf(const std::string& name)
{
    if (!IsDevice(name)) {
        return nullptr;
    }
#ifdef OVEL_HAVE_AVDEVICE
    static const bool registered = [] {
        avdevice_register_all();
        return true;
    }();
    static_cast<void>(registered);
#endif
    return av_find_input_format("v4l2");
}

// What probing reads stays for the decoder: the first key frame is in there, and as pictures are shown as soon
// as they are decoded, a stock of packets costs no delay.
void SetLowDelay(AVFormatContext& format)
{
    format.max_analyze_duration = ProbeMicroseconds;
    format.fps_probe_size = 0; // else 20 pictures pass before the first one is shown
}

} // namespace

void LiveGuard::Stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopped = true;
    }
    m_wake.notify_all();
}

void LiveGuard::Restart()
{
    m_deadline =
        (Clock::now() + std::chrono::duration_cast<Clock::duration>(m_timeout)).time_since_epoch().count();
}

bool LiveGuard::IsTimedOut() const
{
    return Clock::now().time_since_epoch().count() > m_deadline;
}

bool LiveGuard::Wait(Seconds length)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return !m_wake.wait_for(lock, length, [this] { return m_stopped.load(); });
}

int LiveGuard::ShallReturn(void* guard)
{
    const auto* self = static_cast<const LiveGuard*>(guard);
    return self->IsStopped() || self->IsTimedOut() ? 1 : 0;
}

bool IsLive(const std::string& name)
{
    const size_t colon = name.find("://");
    const bool isUrl = colon != std::string::npos && colon > 0 &&
                       std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(colon),
                                   [](unsigned char letter) { return std::isalnum(letter) != 0; });
    return (isUrl && name.rfind("file://", 0) != 0) || IsDevice(name) || IsSessionDescription(name);
}

int OpenLiveInput(AVFormatContext*& format, const std::string& name, LiveGuard& guard, bool isOverTcp)
{
    guard.Restart();
    format = avformat_alloc_context();
    if (format == nullptr) {
        return AVERROR(ENOMEM);
    }
    format->interrupt_callback = {&LiveGuard::ShallReturn, &guard};
    SetLowDelay(*format);
    AVDictionary* options = nullptr;
    if (IsSessionDescription(name)) {
        av_dict_set(&options, "protocol_whitelist", "file,rtp,udp", 0); // what the file may lead to
    }
    if (isOverTcp) {
        av_dict_set(&options, "rtsp_flags", "prefer_tcp", 0); // other protocols do not know it
    }
    const int code = avformat_open_input(&format, name.c_str(), FormatOf(name),
                                         &options); // frees the context when it fails
    av_dict_free(&options);
    return code;
}
