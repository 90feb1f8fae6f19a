// Plays the video of a file with FFmpeg's libraries: a decoding thread hands every picture over at its time,
// with what its tags say about colours. With a second argument, the window is written there as a PNG after
// the last picture and the program ends.
#include <OvelInterface.h>

#include <QApplication>
#include <QPixmap>
#include <QVBoxLayout>
#include <QWidget>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

struct Input {
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    int stream = -1;

    bool Open(const char* path)
    {
        const AVCodec* decoder = nullptr;
        if (avformat_open_input(&format, path, nullptr, nullptr) < 0 ||
            avformat_find_stream_info(format, nullptr) < 0 ||
            (stream = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0)) < 0) {
            return false;
        }
        codec = avcodec_alloc_context3(decoder);
        return avcodec_parameters_to_context(codec, format->streams[stream]->codecpar) >= 0 &&
               avcodec_open2(codec, decoder, nullptr) >= 0;
    }
    ~Input()
    {
        avcodec_free_context(&codec);
        avformat_close_input(&format);
    }
};

// What the samples mean: from the tags, and as usual for the size where there are none.
static tagOvelColor ColorOf(const AVFrame& picture)
{
    tagOvelColor color = {picture.height >= 720 ? OVEL_MATRIX_BT709 : OVEL_MATRIX_BT601, OVEL_RANGE_LIMITED,
                          OVEL_SITING_LEFT};
    if (picture.colorspace == AVCOL_SPC_BT709) {
        color.iMatrix = OVEL_MATRIX_BT709;
    } else if (picture.colorspace == AVCOL_SPC_BT470BG || picture.colorspace == AVCOL_SPC_SMPTE170M) {
        color.iMatrix = OVEL_MATRIX_BT601;
    } else if (picture.colorspace == AVCOL_SPC_BT2020_NCL) {
        color.iMatrix = OVEL_MATRIX_BT2020;
    }
    if (picture.color_range == AVCOL_RANGE_JPEG || picture.format == AV_PIX_FMT_YUVJ420P) {
        color.iRange = OVEL_RANGE_FULL;
    }
    if (picture.chroma_location == AVCHROMA_LOC_CENTER) {
        color.iChromaSiting = OVEL_SITING_CENTER;
    } else if (picture.chroma_location == AVCHROMA_LOC_TOPLEFT) {
        color.iChromaSiting = OVEL_SITING_TOP_LEFT;
    }
    return color;
}

static void GiveBack(void* reference)
{
    auto* picture = static_cast<AVFrame*>(reference);
    av_frame_free(&picture);
}

// Nothing is copied: the renderer holds a reference to the decoder's picture until it shows another one.
static bool Show(void* renderer, const AVFrame& picture)
{
    const bool isNv12 = picture.format == AV_PIX_FMT_NV12;
    if (!isNv12 && picture.format != AV_PIX_FMT_YUV420P && picture.format != AV_PIX_FMT_YUVJ420P) {
        std::fprintf(stderr, "ffmpeg_sample: pictures that are not 8-bit 4:2:0 need swscale first\n");
        return false;
    }
    AVFrame* reference = av_frame_clone(&picture);
    if (reference == nullptr) {
        return false;
    }
    tagOvelFrameRef frame{};
    frame.iWidth = reference->width;
    frame.iHeight = reference->height;
    frame.iDisplayType = isNv12 ? OVEL_DISPLAY_NV12 : OVEL_DISPLAY_YV12;
    for (int plane = 0; plane < 3; ++plane) {
        frame.pPlane[plane] = reference->data[plane];
        frame.iPitch[plane] = reference->linesize[plane];
    }
    frame.iHasColor = 1;
    frame.stColor = ColorOf(picture);
    return Ovel_ShowYuvFrameRef(renderer, &frame, sizeof(frame), &GiveBack, reference) == 0; // or given back
}

static void Play(Input& input, void* renderer, const std::atomic<bool>& stop)
{
    AVPacket* packet = av_packet_alloc();
    AVFrame* picture = av_frame_alloc();
    const auto start = std::chrono::steady_clock::now();
    const double unit = av_q2d(input.format->streams[input.stream]->time_base);
    bool good = true;
    for (bool more = true; more && good && !stop;) {
        more = av_read_frame(input.format, packet) >= 0;
        if (!more || packet->stream_index == input.stream) {
            avcodec_send_packet(input.codec, more ? packet : nullptr); // null: what the decoder still holds
        }
        while (good && !stop && avcodec_receive_frame(input.codec, picture) >= 0) {
            const double time = static_cast<double>(picture->best_effort_timestamp) * unit;
            std::this_thread::sleep_until(start + std::chrono::duration<double>(time));
            good = Show(renderer, *picture);
        }
        av_packet_unref(packet);
    }
    av_frame_free(&picture);
    av_packet_free(&packet);
}

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    Input input;
    if (argc < 2 || !input.Open(argv[1])) {
        std::fprintf(stderr, "usage: ffmpeg_sample FILE [PICTURE.png]; FILE must hold a video\n");
        return 2;
    }
    QWidget window;
    QVBoxLayout layout(&window);
    layout.setContentsMargins(0, 0, 0, 0);
    window.resize(input.codec->width, input.codec->height);
    void* renderer = Ovel_Create(&layout);
    window.show();

    const auto finish = [&] {
        if (argc > 2) {
            QCoreApplication::exit(window.grab().save(argv[2], "PNG") ? 0 : 1);
        }
    };
    std::atomic<bool> stop{false};
    std::thread decoder([&] {
        Play(input, renderer, stop);
        QMetaObject::invokeMethod(&window, finish, Qt::QueuedConnection);
    });
    const int code = QApplication::exec();
    stop = true;
    decoder.join(); // first the thread, then the renderer
    Ovel_Release(renderer);
    return code;
}
