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
#include <cstring>
#include <thread>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
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

// One block of three planes without gaps. FFmpeg rounds the chroma of odd sizes up and the renderer rounds it
// down: av_image_copy_to_buffer would give rows that are one sample too long.
static void Pack(const AVFrame& picture, std::vector<uint8_t>& block)
{
    const int width = picture.width;
    const int height = picture.height;
    const size_t luma = static_cast<size_t>(width) * static_cast<size_t>(height);
    block.resize(luma * 3 / 2);
    const auto put = [&](size_t offset, int plane, int columns, int rows) {
        av_image_copy_plane(block.data() + offset, columns, picture.data[plane], picture.linesize[plane],
                            columns, rows);
    };
    put(0, 0, width, height);
    put(luma, 1, width / 2, height / 2);
    put(5 * luma / 4, 2, width / 2, height / 2);
}

struct Shown {
    std::vector<uint8_t> block;
    tagOvelColor color{}; // as every renderer begins
};

static bool Show(void* renderer, const AVFrame& picture, Shown& shown)
{
    tagYuvFrameInfo frame{};
    frame.iWidth = picture.width;
    frame.iHeight = picture.height;
    if (picture.format == AV_PIX_FMT_NV12) {
        frame.iDisplayType = OVEL_DISPLAY_NV12;
        frame.pPlaneY = picture.data[0];
        frame.pPlaneUV = picture.data[1];
        frame.iPitch = picture.linesize[0];
    } else if (picture.format == AV_PIX_FMT_YUV420P || picture.format == AV_PIX_FMT_YUVJ420P) {
        frame.iDisplayType = OVEL_DISPLAY_YV12;
        Pack(picture, shown.block);
        frame.pYuvData = shown.block.data();
    } else {
        std::fprintf(stderr, "ffmpeg_sample: pictures that are not 8-bit 4:2:0 need swscale first\n");
        return false;
    }
    tagOvelColor color = ColorOf(picture);
    if (std::memcmp(&color, &shown.color, sizeof(color)) != 0) { // a command paints: not for every picture
        Ovel_SetParam(renderer, OVELCMD_SET_COLOR, &color, sizeof(color));
        shown.color = color;
    }
    return Ovel_ShowYuvFrame(renderer, &frame, sizeof(frame)) == 0; // copied when it returns
}

static void Play(Input& input, void* renderer, const std::atomic<bool>& stop)
{
    AVPacket* packet = av_packet_alloc();
    AVFrame* picture = av_frame_alloc();
    Shown shown;
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
            good = Show(renderer, *picture, shown);
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
