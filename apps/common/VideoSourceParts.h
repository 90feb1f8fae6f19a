// What a VideoSource is made of; for its own files.
#pragma once

#include "PictureConverter.h"
#include "PictureRow.h"
#include "VideoSource.h"

#include <limits>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

struct VideoSource::Parts {
    struct FreeFormat {
        void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
    };
    struct FreeCodec {
        void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    };
    struct FreeFrame {
        void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    };
    struct FreePacket {
        void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    };

    SourceOptions Options; // before the format, which asks the guard until it is closed
    std::unique_ptr<AVFormatContext, FreeFormat> Format;
    std::unique_ptr<AVCodecContext, FreeCodec> Codec;
    std::unique_ptr<AVFrame, FreeFrame> Incoming{av_frame_alloc()};
    std::unique_ptr<AVFrame, FreeFrame> Decoded{av_frame_alloc()}; // the last picture, also at the file's end
    std::unique_ptr<AVPacket, FreePacket> Packet{av_packet_alloc()};
    PictureConverter Converter;
    PictureRow Row; // of the last step back
    AVStream* Stream = nullptr;
    tagOvelColor Color{};
    bool IsLent = false;
    std::vector<uint8_t> Block; // planes without gaps, reused from frame to frame
    tagYuvFrameInfo Info{};
    VideoFacts Facts;
    int DeliveredFormat = -1; // that its text was made for
    std::string Damage;
    std::string Ending; // why nothing more could be read
    double SentAt = std::numeric_limits<double>::quiet_NaN();
    int64_t FirstTimeStamp = AV_NOPTS_VALUE;
    double Time = 0.0;
    bool Draining = false;
    bool AwaitsKeyFrame = false; // after a seek: the pictures before it lack what they refer to
    bool DamagedSinceFrame = false;
    bool FirstHeld = false; // Open has decoded a picture that Next has not given yet
    uint32_t Count = 0;

    bool OpenFile(const std::string& path, std::string& reason);
    bool OpenDecoder(std::string& reason);
    Step Decode();
    Step DecodeOnly();
    bool GoToKeyFrame(double seconds);
    bool GoBefore(double seconds);
    double MeasureDuration() const;
    int Read();
    int Feed();
    bool Begin(const std::string& path, std::string& reason);
    void NoteDamage(int code);
    bool Describe();
    void DescribeYv12(const AVFrame& frame);
    void DescribeNv12(const AVFrame& frame);
    void TakeTime();
};
