// One window, one generated frame. With an argument, the window is written there as a PNG and the program
// ends.
#include <OvelInterface.h>

#include <QApplication>
#include <QPixmap>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>

#include <cstdint>
#include <vector>

// Eight columns from black to white, with chroma that runs from corner to corner.
static std::vector<uint8_t> MakeFrame(int width, int height)
{
    std::vector<uint8_t> frame;
    frame.reserve(static_cast<size_t>(width * height * 3 / 2));
    for (int i = 0; i < width * height; ++i) {
        frame.push_back(static_cast<uint8_t>(i % width * 8 / width * 36));
    }
    for (int i = 0; i < width * height / 4; ++i) {
        frame.push_back(static_cast<uint8_t>(64 + i * 2 / width * 256 / height));
    }
    for (int i = 0; i < width * height / 4; ++i) {
        frame.push_back(static_cast<uint8_t>(64 + i % (width / 2) * 256 / width));
    }
    return frame;
}

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QWidget window;
    QVBoxLayout layout(&window);
    layout.setContentsMargins(0, 0, 0, 0);
    window.resize(640, 360);

    void* renderer = Ovel_Create(&layout); // GUI thread; the widget is now in the layout
    std::vector<uint8_t> pixels = MakeFrame(640, 360);
    tagYuvFrameInfo frame{};
    frame.pYuvData = pixels.data(); // Y, U and V planes without gaps, copied by the call
    frame.iWidth = 640;
    frame.iHeight = 360;
    frame.iDisplayType = OVEL_DISPLAY_YV12;
    const int shown = Ovel_ShowYuvFrame(renderer, &frame, sizeof(frame)); // any thread

    window.show();
    if (argc > 1) {
        QTimer::singleShot(1000, &window,
                           [&] { QCoreApplication::exit(window.grab().save(argv[1], "PNG") ? 0 : 1); });
    }
    const int code = shown == 0 ? QApplication::exec() : 1;
    Ovel_Release(renderer);
    return code;
}
