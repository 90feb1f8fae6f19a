#include "Played.h"

#include <QFile>
#include <QGuiApplication>
#include <QPixmap>
#include <QProcess>
#include <QScreen>

#include <algorithm>
#include <cmath>

namespace OvelTest
{

namespace
{

QString MatrixName(int matrix)
{
    return matrix == OVEL_MATRIX_BT709 ? "bt709" : matrix == OVEL_MATRIX_BT2020 ? "bt2020nc" : "smpte170m";
}

QString ScalerMatrix(int matrix)
{
    return MatrixName(matrix).remove("nc");
}

QString RangeName(int range)
{
    return range == OVEL_RANGE_FULL ? "pc" : "tv";
}

void CopyPlane(Plane& plane, const char* bytes, int stride)
{
    plane.Fill(0);
    for (int y = 0; y < plane.height; ++y) {
        std::copy_n(bytes + y * stride, plane.width, &plane.At(0, y));
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

} // namespace

void WriteFile(const QString& file, const QByteArray& bytes)
{
    QFile written(file);
    ASSERT_TRUE(written.open(QIODevice::WriteOnly));
    written.write(bytes);
}

QByteArray ReadFile(const QString& file)
{
    QFile read(file);
    return read.open(QIODevice::ReadOnly) ? read.readAll() : QByteArray();
}

Ended RunProgram(const QString& program, const QStringList& arguments, int expectedCode,
                 const QByteArray& input)
{
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    const bool ended = process.waitForFinished(60000);
    const Ended result{process.readAllStandardOutput(), process.readAllStandardError()};
    EXPECT_TRUE(ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == expectedCode)
        << program.toStdString() << " " << arguments.join(' ').toStdString() << "\nended with "
        << process.exitCode() << ": " << result.errors.toStdString();
    return result;
}

QByteArray Ffmpeg(const QString& arguments)
{
    return RunProgram(OVEL_FFMPEG, ("-v error -nostdin -y " + arguments).split(' ')).output;
}

void MakeClip(const QString& file, const QString& graph, const QString& codec, const tagOvelColor& color,
              const QString& format)
{
    const QString matrix = MatrixName(color.iMatrix), range = RangeName(color.iRange);
    const int siting = color.iChromaSiting == OVEL_SITING_CENTER ? 1 : 0;
    const QString scale =
        QString(",scale=flags=accurate_rnd:out_color_matrix=%1:out_range=%2,format=%3 -frames:v 1 ")
            .arg(ScalerMatrix(color.iMatrix), range, format);
    const QString lossy =
        QString("-preset ultrafast -crf 6 -%1-params chromaloc=%2 ").arg(codec.mid(3)).arg(siting);
    Ffmpeg("-f lavfi -i " + graph + scale + "-c:v " + codec + " " + (codec == "ffv1" ? QString() : lossy) +
           QString("-colorspace %1 -color_range %2 %3").arg(matrix, range, file));
}

Picture DecodeFirst(const QString& file, const tagOvelColor& color)
{
    const QString entries =
        "-v error -of csv=p=0 -show_entries stream=width,height,color_range,color_space,chroma_location";
    const QString said = RunProgram(OVEL_FFPROBE, entries.split(' ') + QStringList{file}).output.trimmed();
    const QStringList tags = said.split(',');
    EXPECT_EQ(tags.value(2), RangeName(color.iRange)) << said.toStdString();
    EXPECT_EQ(tags.value(3), MatrixName(color.iMatrix)) << said.toStdString();
    EXPECT_EQ(tags.value(4) == "center", color.iChromaSiting == OVEL_SITING_CENTER) << said.toStdString();
    Picture picture(tags.value(0).toInt(), tags.value(1).toInt());
    const int stride = (picture.width + 1) / 2, chroma = stride * ((picture.height + 1) / 2);
    const QByteArray bytes = Ffmpeg("-i " + file + " -frames:v 1 -f rawvideo -");
    EXPECT_EQ(bytes.size(), picture.width * picture.height + 2 * chroma);
    CopyPlane(picture.luma, bytes.constData(), picture.width);
    CopyPlane(picture.u, bytes.constEnd() - 2 * chroma, stride);
    CopyPlane(picture.v, bytes.constEnd() - chroma, stride);
    return picture;
}

Canvas Described(const Picture& picture, const tagOvelColor& color)
{
    View view;
    view.widget = view.device = QSize(picture.width, picture.height);
    view.color = color;
    return RenderPicture(picture, OVEL_DISPLAY_YV12, view);
}

Canvas ByFfmpeg(const QString& file, QSize size, const tagOvelColor& color)
{
    Canvas canvas(size);
    const QString scale =
        "-vf scale=flags=accurate_rnd+full_chroma_int+full_chroma_inp:in_color_matrix=%1:in_range=%2";
    const QByteArray bytes = Ffmpeg(QString("-i %3 " + scale + " -frames:v 1 -f rawvideo -pix_fmt rgb24 -")
                                        .arg(ScalerMatrix(color.iMatrix), RangeName(color.iRange), file));
    EXPECT_EQ(static_cast<size_t>(bytes.size()), canvas.colour.size() * 3);
    for (int i = 0; i < bytes.size(); ++i) {
        canvas.colour.at(static_cast<size_t>(i / 3)).at(static_cast<size_t>(i % 3)) =
            static_cast<uint8_t>(bytes[i]);
    }
    KeepFlatAreas(canvas);
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

QRect TileRect(int index, int columns, QSize tile)
{
    return {QPoint(index % columns * tile.width(), index / columns * tile.height()), tile};
}

QColor OnScreen(int x, int y)
{
    return QGuiApplication::primaryScreen()->grabWindow(0, x, y, 1, 1).toImage().pixelColor(0, 0);
}

bool IsLike(const QColor& shown, const QColor& wanted, int tolerance)
{
    return std::abs(shown.red() - wanted.red()) <= tolerance &&
           std::abs(shown.green() - wanted.green()) <= tolerance &&
           std::abs(shown.blue() - wanted.blue()) <= tolerance;
}

} // namespace OvelTest
