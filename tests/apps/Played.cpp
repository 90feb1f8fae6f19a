#include "Played.h"

#include <QProcess>

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace OvelTest
{

namespace
{

const char* MatrixName(int matrix)
{
    return matrix == OVEL_MATRIX_BT709 ? "bt709" : matrix == OVEL_MATRIX_BT2020 ? "bt2020nc" : "smpte170m";
}

const char* ScalerMatrix(int matrix)
{
    return matrix == OVEL_MATRIX_BT709 ? "bt709" : matrix == OVEL_MATRIX_BT2020 ? "bt2020" : "bt601";
}

const char* RangeName(int range)
{
    return range == OVEL_RANGE_FULL ? "pc" : "tv";
}

void CopyPlane(Plane& plane, const AVFrame& frame, int index)
{
    plane.Fill(0);
    for (int y = 0; y < plane.height; ++y) {
        for (int x = 0; x < plane.width; ++x) {
            plane.At(x, y) = frame.data[index][y * frame.linesize[index] + x];
        }
    }
}

bool IsFlat(const Plane& plane, int x, int y, int reach)
{
    for (int row = std::max(0, y - reach); row <= std::min(plane.height - 1, y + reach); ++row) {
        for (int column = std::max(0, x - reach); column <= std::min(plane.width - 1, x + reach); ++column) {
            if (plane.At(column, row) !=
                plane.At(std::min(x, plane.width - 1), std::min(y, plane.height - 1))) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

Decoded DecodeFirst(const QString& file)
{
    Decoded decoded;
    AVFormatContext* format = nullptr;
    const AVCodec* codec = nullptr;
    int stream = -1;
    if (avformat_open_input(&format, file.toUtf8().constData(), nullptr, nullptr) < 0 ||
        avformat_find_stream_info(format, nullptr) < 0 ||
        (stream = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0)) < 0) {
        ADD_FAILURE() << "no video in " << file.toStdString();
        return decoded;
    }
    AVCodecContext* context = avcodec_alloc_context3(codec);
    avcodec_parameters_to_context(context, format->streams[stream]->codecpar);
    context->thread_count = 1;
    avcodec_open2(context, codec, nullptr);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    int found = AVERROR(EAGAIN);
    while (found == AVERROR(EAGAIN)) {
        const bool more = av_read_frame(format, packet) >= 0;
        avcodec_send_packet(context, more ? packet : nullptr);
        av_packet_unref(packet);
        found = avcodec_receive_frame(context, frame);
    }
    EXPECT_EQ(found, 0) << file.toStdString();
    if (found == 0) {
        decoded.picture = Picture(frame->width, frame->height);
        CopyPlane(decoded.picture.luma, *frame, 0);
        CopyPlane(decoded.picture.u, *frame, 1);
        CopyPlane(decoded.picture.v, *frame, 2);
        decoded.colorspace = frame->colorspace;
        decoded.range = frame->color_range;
        decoded.chromaLocation = frame->chroma_location;
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&context);
    avformat_close_input(&format);
    return decoded;
}

QByteArray RunProgram(const QString& program, const QStringList& arguments, int expectedCode)
{
    QProcess process;
    process.start(program, arguments);
    const bool ended = process.waitForFinished(60000);
    const QByteArray errors = process.readAllStandardError();
    EXPECT_TRUE(ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == expectedCode)
        << program.toStdString() << " " << arguments.join(' ').toStdString() << "\nended with "
        << process.exitCode() << ": " << errors.toStdString();
    return process.readAllStandardOutput();
}

void Ffmpeg(const QStringList& arguments)
{
    RunProgram(OVEL_FFMPEG, QStringList{"-v", "error", "-nostdin", "-y"} + arguments);
}

void MakeClip(const QString& file, const QString& graph, const QString& codec, const tagOvelColor& color,
              const QString& format)
{
    const QString scaled = QString("%1,scale=flags=accurate_rnd:out_color_matrix=%2:out_range=%3,format=%4")
                               .arg(graph, ScalerMatrix(color.iMatrix), RangeName(color.iRange), format);
    QStringList arguments{"-f",           "lavfi",
                          "-i",           scaled,
                          "-frames:v",    "1",
                          "-c:v",         codec,
                          "-colorspace",  MatrixName(color.iMatrix),
                          "-color_range", RangeName(color.iRange)};
    const QString chroma = QString("chromaloc=%1")
                               .arg(color.iChromaSiting == OVEL_SITING_LEFT     ? 0
                                    : color.iChromaSiting == OVEL_SITING_CENTER ? 1
                                                                                : 2);
    if (codec == "libx264") {
        arguments += QStringList{"-preset", "ultrafast", "-crf", "6", "-x264-params", chroma};
    }
    if (codec == "libx265") {
        arguments +=
            QStringList{"-preset", "ultrafast", "-crf", "6", "-x265-params", chroma + ":log-level=none"};
    }
    Ffmpeg(arguments + QStringList{file});
}

Canvas Described(const Picture& picture, const tagOvelColor& color)
{
    View view;
    view.widget = view.device = QSize(picture.width, picture.height);
    view.color = color;
    return RenderPicture(picture, OVEL_DISPLAY_YV12, view);
}

void KeepFlatAreas(Canvas& canvas, const Picture& picture)
{
    for (int y = 0; y < canvas.height; ++y) {
        for (int x = 0; x < canvas.width; ++x) {
            canvas.certain[canvas.At(x, y)] = IsFlat(picture.luma, x, y, 2) &&
                                              IsFlat(picture.u, x / 2, y / 2, 2) &&
                                              IsFlat(picture.v, x / 2, y / 2, 2);
        }
    }
}

void KeepFlatAreas(Canvas& canvas)
{
    constexpr int reach = 4;
    for (int y = 0; y < canvas.height; ++y) {
        for (int x = 0; x < canvas.width; ++x) {
            const auto& here = canvas.colour[canvas.At(x, y)];
            bool isFlat = true;
            for (int row = std::max(0, y - reach); row <= std::min(canvas.height - 1, y + reach); ++row) {
                for (int column = std::max(0, x - reach); column <= std::min(canvas.width - 1, x + reach);
                     ++column) {
                    for (size_t c = 0; c < 3; ++c) {
                        isFlat = isFlat && std::abs(canvas.colour[canvas.At(column, row)][c] - here[c]) <= 2;
                    }
                }
            }
            canvas.certain[canvas.At(x, y)] = isFlat;
        }
    }
}

Canvas ByFfmpeg(const QString& file, QSize size, const tagOvelColor& color)
{
    Canvas canvas(size);
    const QString graph =
        QString("scale=flags=accurate_rnd+full_chroma_int+full_chroma_inp:in_color_matrix=%1:in_range=%2")
            .arg(ScalerMatrix(color.iMatrix), RangeName(color.iRange));
    const QByteArray bytes =
        RunProgram(OVEL_FFMPEG, {"-v", "error", "-nostdin", "-i", file, "-vf", graph, "-frames:v", "1", "-f",
                                 "rawvideo", "-pix_fmt", "rgb24", "-"});
    EXPECT_EQ(static_cast<size_t>(bytes.size()), canvas.colour.size() * 3);
    for (size_t i = 0; i < canvas.colour.size() && 3 * i + 2 < static_cast<size_t>(bytes.size()); ++i) {
        for (size_t c = 0; c < 3; ++c) {
            canvas.colour[i][c] = static_cast<uint8_t>(bytes[static_cast<int>(3 * i + c)]);
        }
    }
    return canvas;
}

QImage PlayerPicture(const QTemporaryDir& directory, const QStringList& files, QSize window,
                     const QStringList& options)
{
    const QString picture = directory.filePath("picture.png");
    RunProgram(OVEL_PLAYER, QStringList{"--bare", "--once", "--seconds", "1.5", "--picture", picture,
                                        "--size", QString("%1x%2").arg(window.width()).arg(window.height())} +
                                options + files);
    return QImage(picture);
}

} // namespace OvelTest
