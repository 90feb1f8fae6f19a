// What all cells stand on: settings, windows full of displays, event loops that wait for paints, costs of
// steps.
#pragma once

#include "Displays.h"
#include "Measure.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Bench
{

struct Settings {
    int rounds = 9;
    int idleSeconds = 10;
    std::string program;     // this one
    std::string libraryPath; // the build that is measured
    std::string againstPath; // another build that takes the place of the limit
};
extern Settings settings;

std::unique_ptr<Display> NewLibraryDisplay(int typeCode = OVEL_RENDER_FULL, bool lends = false);
std::unique_ptr<Display> NewLimitDisplay(bool copies = true, int typeCode = OVEL_RENDER_FULL);

void RunUntil(const std::function<bool()>& condition);
void RunFor(double milliseconds);
// Runs the work on another thread and events here until it is done.
void RunWith(const std::function<void()>& work);

// A top-level window full of displays of one size.
class Stage
{
public:
    using Make = std::function<std::unique_ptr<Display>()>;
    Stage(int count, QSize tile, bool onTheRight, const Make& make);
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    Display& First() { return *displays.front(); }
    // Every display a window of the display server. Before Show.
    void MakeNative();
    void Show(const Frame& frame);
    // All get a frame, then all paint.
    void Together(const Frame& frame);
    void OneAfterAnother(const Frame& frame);
    static void FeedAndAwait(Display& display, const Frame& frame);
    std::vector<int> SwapsBefore() const;
    void AwaitPaint(const std::vector<int>& before) const;

    QWidget top;
    std::vector<std::unique_ptr<Display>> displays;
};

// Paints of widgets, as their events tell: a composition swaps all widgets of a window, painted or not.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(const Stage& stage);
    bool eventFilter(QObject* object, QEvent* event) override;
    int count = 0;
};

// CPU time of a step, the mean of a batch.
template <typename Step> double CpuOf(int batch, const Step& step)
{
    const double start = ProcessCpuMilliseconds();
    for (int i = 0; i < batch; ++i) {
        step(static_cast<size_t>(i));
    }
    return (ProcessCpuMilliseconds() - start) / batch;
}

} // namespace Bench
