#include "Stage.h"

#include <QApplication>
#include <QWindow>

#include <thread>

#include <unistd.h>

namespace Bench
{

Settings settings;

std::unique_ptr<Display> NewLibraryDisplay(int typeCode, bool lends)
{
    static const Library library(settings.libraryPath);
    return std::make_unique<LibraryDisplay>(library, typeCode, lends);
}

std::unique_ptr<Display> NewLimitDisplay(bool copies, int typeCode)
{
    if (settings.againstPath.empty()) {
        return std::make_unique<ThinDisplay>(copies);
    }
    static const Library against(settings.againstPath);
    return std::make_unique<LibraryDisplay>(against, typeCode);
}

void RunUntil(const std::function<bool()>& condition)
{
    while (!condition()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

void RunFor(double milliseconds)
{
    const double end = WallMilliseconds() + milliseconds;
    while (WallMilliseconds() < end) {
        QCoreApplication::processEvents();
        usleep(1000);
    }
}

void RunWith(const std::function<void()>& work)
{
    std::atomic<bool> done{false};
    std::thread thread([&] {
        work();
        done = true;
        QMetaObject::invokeMethod(
            qApp, [] {}, Qt::QueuedConnection);
    });
    RunUntil([&] { return done.load(); });
    thread.join();
}

Stage::Stage(int count, QSize tile, bool onTheRight, const Make& make)
{
    int columns = 1;
    while (columns * columns < count) {
        ++columns;
    }
    top.setGeometry(onTheRight ? 2880 : 0, 0, columns * tile.width(),
                    (count + columns - 1) / columns * tile.height());
    for (int i = 0; i < count; ++i) {
        displays.push_back(make());
        QWidget* widget = displays.back()->Widget();
        widget->setParent(&top);
        widget->setGeometry(i % columns * tile.width(), i / columns * tile.height(), tile.width(),
                            tile.height());
        displays.back()->CountSwaps();
    }
}

Stage::~Stage()
{
    // The widgets belong to their displays.
    for (const auto& display : displays) {
        display->Widget()->setParent(nullptr);
    }
}

void Stage::MakeNative()
{
    for (const auto& display : displays) {
        display->Widget()->setAttribute(Qt::WA_DontCreateNativeAncestors);
        display->Widget()->setAttribute(Qt::WA_NativeWindow);
    }
}

void Stage::Show(const Frame& frame)
{
    top.show();
    RunUntil([this] { return top.isVisible() && top.windowHandle()->isExposed(); });
    Together(frame);
    Together(frame);
}

void Stage::Together(const Frame& frame)
{
    for (const auto& display : displays) {
        display->Feed(frame);
    }
    AwaitPaint(SwapsBefore());
}

void Stage::OneAfterAnother(const Frame& frame)
{
    for (const auto& display : displays) {
        FeedAndAwait(*display, frame);
    }
}

void Stage::FeedAndAwait(Display& display, const Frame& frame)
{
    const int before = display.swaps;
    display.Feed(frame);
    RunUntil([&] { return display.swaps != before; });
}

std::vector<int> Stage::SwapsBefore() const
{
    std::vector<int> swaps;
    for (const auto& display : displays) {
        swaps.push_back(display->swaps);
    }
    return swaps;
}

void Stage::AwaitPaint(const std::vector<int>& before) const
{
    RunUntil([&] {
        for (size_t i = 0; i < displays.size(); ++i) {
            if (displays[i]->swaps == before[i]) {
                return false;
            }
        }
        return true;
    });
}

PaintCounter::PaintCounter(const Stage& stage)
{
    for (const auto& display : stage.displays) {
        display->Widget()->installEventFilter(this);
    }
}

bool PaintCounter::eventFilter(QObject*, QEvent* event)
{
    count += event->type() == QEvent::Paint;
    return false;
}

} // namespace Bench
