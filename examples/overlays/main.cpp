// Overlays over a generated picture: two boxes, a track, a translucent zone and labels, sent anew with each
// frame. With an argument, the window is written there as a PNG and the program ends.
#include <OvelInterface.h>

#include <QApplication>
#include <QImage>
#include <QPixmap>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>

#include <cstdint>
#include <cstring>
#include <vector>

static const int Width = 640;
static const int Height = 360;

// What a detector would know about a frame, in fractions of the picture.
struct Scene {
    double step = 0.0; // 0 to 1, runs with the frames
};

// Fractions of the picture to widget pixels: the callback says where the picture lies.
static tagQPOINT Place(const __tagQDrawCallbackInfo& info, double x, double y)
{
    return {info.left + static_cast<int32_t>(x * (info.right - info.left)),
            info.top + static_cast<int32_t>(y * (info.bottom - info.top))};
}

struct Fraction {
    double x, y;
};

static void Send(const __tagQDrawCallbackInfo& info, __tagQDrawGraphInfo graph,
                 const std::vector<Fraction>& points, const char* text = "")
{
    for (const Fraction& point : points) {
        graph.stPoint[graph.iPointNum++] = Place(info, point.x, point.y); // 32 at most
    }
    std::strncpy(graph.szText, text, sizeof(graph.szText) - 1);
    info.pfnDrawToRender(&graph, sizeof(graph), info.pRender);
}

static void SendBox(const __tagQDrawCallbackInfo& info, double x, double y, const char* name, uint32_t color)
{
    const double right = x + 0.18;
    __tagQDrawGraphInfo box{};
    box.iGraphType = OVEL_GRAPH_OUTLINE;
    box.uiColor = color; // red in the lowest byte; 126 is dark and 252 full for lines and shapes
    box.iFontSize = 3;   // width of the line
    Send(info, box, {{x, y}, {right, y}, {right, y + 0.3}, {x, y + 0.3}});
    __tagQDrawGraphInfo label{};
    label.iGraphType = OVEL_GRAPH_TEXT;
    label.uiColor = 0xffffff;
    label.iFontSize = 12;
    label.iTextCode = OVEL_TEXT_UTF8;
    Send(info, label, {{x, y - 0.05}, {right, y - 0.01}}, name); // two corners of its box
}

// Runs inside Ovel_ShowYuvFrame, and on the GUI thread after a resize.
static int Draw(int, __tagQDrawCallbackInfo* info, int, void* user)
{
    const double step = static_cast<const Scene*>(user)->step;
    SendBox(*info, 0.05 + 0.5 * step, 0.30, "car", 0x7efcfc);
    SendBox(*info, 0.75, 0.25, "person", 0x7efc7e);

    __tagQDrawGraphInfo track{};
    track.iGraphType = OVEL_GRAPH_POLYLINE;
    track.uiColor = 0x7efcfc;
    track.iFontSize = 2;
    std::vector<Fraction> points;
    points.reserve(16);
    for (int i = 0; i < 16; ++i) {
        points.push_back({0.14 + 0.5 * step * i / 15, 0.62 + 0.04 * (i % 2)});
    }
    Send(*info, track, points);

    __tagQDrawGraphInfo zone{};
    zone.iGraphType = OVEL_GRAPH_FILLED; // a strip of triangles
    zone.uiColor = 0xfc7e7e;
    zone.fAlpha = 0.4F;
    Send(*info, zone, {{0.10, 0.95}, {0.20, 0.70}, {0.90, 0.95}, {0.80, 0.70}});
    return 0;
}

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QWidget window;
    QVBoxLayout layout(&window);
    layout.setContentsMargins(0, 0, 0, 0);
    window.resize(Width, Height);

    Scene scene; // outlives the renderer
    void* renderer = Ovel_Create(&layout);
    tagOvelDrawCallback callback = {&Draw, &scene};
    Ovel_SetParam(renderer, OVELCMD_SET_DRAW_CALLBACK, &callback, sizeof(callback));

    std::vector<uint8_t> pixels(Width * Height * 3 / 2, 128);
    for (int i = 0; i < Width * Height; ++i) {
        pixels[static_cast<size_t>(i)] = static_cast<uint8_t>(40 + i / Width * 120 / Height);
    }
    tagYuvFrameInfo frame{};
    frame.pYuvData = pixels.data();
    frame.iWidth = Width;
    frame.iHeight = Height;
    frame.iDisplayType = OVEL_DISPLAY_YV12;

    QTimer clock;
    QObject::connect(&clock, &QTimer::timeout, [&] {
        scene.step = scene.step < 1.0 ? scene.step + 0.01 : 0.0;
        Ovel_ShowYuvFrame(renderer, &frame, sizeof(frame)); // asks for the overlays of this frame
    });
    clock.start(40);
    window.show();
    if (argc > 1) {
        QTimer::singleShot(1000, &window, [&] {
            QImage picture = window.grab().toImage();
            picture.reinterpretAsFormat(QImage::Format_RGB32); // lines leave no alpha behind
            QCoreApplication::exit(picture.save(argv[1], "PNG") ? 0 : 1);
        });
    }
    const int code = QApplication::exec();
    Ovel_Release(renderer);
    return code;
}
