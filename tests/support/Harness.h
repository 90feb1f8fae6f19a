// Real renderers in real windows: the context kind of this run, waiting for paints, what the screen shows,
// what host and GL complained about meanwhile. Every test fails on a GL error or a Qt warning that it did not
// take itself.
#pragma once

#include "CLS_ShaderBase.h"
#include "CLS_ShaderYuv.h"
#include "CLS_ShaderYuvSubImage.h"
#include "OssdkRecorder.h"
#include "Reference.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace OvelTest
{

// Runs events, deferred deletions included, once and until the condition holds; false after the time.
void RunEvents();
bool WaitUntil(const std::function<bool()>& condition, int milliseconds = 5000);
void RunEventsFor(int milliseconds);
// The check's last answer: the first that passes, or the one when the time is over.
::testing::AssertionResult Eventually(const std::function<::testing::AssertionResult()>& check,
                                      int milliseconds = 2000);
bool IsFree(QMutex& mutex);

// Makes a renderer a window of the display server inside its top-level window in the runs that are about such
// tiles. Before it is shown.
void MakeNativeIfAsked(QWidget& renderer);
// Qt 6 composes a native tile without GL in a window that is translucent or was shown before the tile came.
bool QtLosesTiles();
// A display server that tells a window neither where it is nor what is on the screen.
bool IsWayland();
// What the screen shows where the widget lies.
QImage ScreenOf(const QWidget& widget);

// What somebody said since the last look, from any thread.
class Lines
{
public:
    void Add(const std::string& text)
    {
        const std::lock_guard<std::mutex> guard(lock);
        lines.push_back(text);
    }
    std::vector<std::string> Take()
    {
        const std::lock_guard<std::mutex> guard(lock);
        return std::exchange(lines, {});
    }

private:
    std::mutex lock;
    std::vector<std::string> lines;
};
extern Lines qtWarnings; // begin with their category
extern Lines qtDebugLines;
extern Lines glErrors;

// While it is set, GL contexts of which it says so cannot be made.
extern bool (*contextFails)(const QSurfaceFormat& asked);
// Of the log's lines those of errors; the others are gone.
std::vector<std::string> TakeErrorLines();

// What a test defines to look at the library before there is a QApplication.
struct BeforeApplication {
    explicit BeforeApplication(void (*function)());
};

// Counts the paint events of a widget.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget* widget) { widget->installEventFilter(this); }
    bool eventFilter(QObject* object, QEvent* event) override;
    int count = 0;
};

// A host's overlay source: answers every draw callback with its records and keeps what it was told.
class OverlaySource
{
public:
    struct Call {
        int reserved;
        __tagQDrawCallbackInfo info;
        int length;
    };

    int Attach(void* handle);
    static int Callback(int reserved, __tagQDrawCallbackInfo* info, int length, void* user);

    Records records;
    std::mutex callsMutex; // a resize asks beside the feeder
    std::vector<Call> calls;
    std::function<void()> inside;
};

CLS_ShaderBase* CreateRenderer(int typeCode);

// Calls action(renderer) with the class that it is of.
template <typename Action> void AsItsClass(CLS_ShaderBase* renderer, const Action& action)
{
    if (auto* full = qobject_cast<CLS_ShaderYuv*>(renderer)) {
        action(full);
    } else if (auto* sub = qobject_cast<CLS_ShaderYuvSubImage*>(renderer)) {
        action(sub);
    }
}
// Calls heard at every signalUpdate as long as the context lives.
template <typename Heard> void HearUpdates(CLS_ShaderBase* renderer, QObject& context, const Heard& heard)
{
    AsItsClass(renderer, [&](auto* of) {
        QObject::connect(of, &std::decay_t<decltype(*of)>::signalUpdate, &context, heard,
                         Qt::DirectConnection);
    });
}

// A top-level window that a renderer fills. Releases the renderer at the end.
class RenderWindow
{
public:
    explicit RenderWindow(int typeCode, QSize size = QSize(96, 64), bool translucent = false);
    ~RenderWindow();
    RenderWindow(const RenderWindow&) = delete;
    RenderWindow& operator=(const RenderWindow&) = delete;

    // Does something and waits for the paint that follows.
    bool Painted(const std::function<void()>& action);
    // Feeds a frame and waits for its paint.
    bool Show(Frame frame);
    bool Show(const Picture& picture, int displayType) { return Show(Frame(picture, displayType)); }
    bool Repaint();
    bool Resize(QSize size);
    template <typename Payload> int Set(int command, const Payload& payload)
    {
        return Ovel_SetParam(handle, command, const_cast<Payload*>(&payload), sizeof(payload));
    }

    QImage Framebuffer(); // the renderer's own picture
    QImage Screen() { return ScreenOf(*renderer); }
    // A view with the sizes of now, and of the rest what this kind of renderer honours.
    View CurrentView(View view = View());
    // Sends zoom and rotation of a view and waits for the paint.
    bool Look(const View& view);
    // Whether the framebuffer shows a picture, with overlays, as that view has it.
    ::testing::AssertionResult Shows(const Picture& picture, int displayType, const View& view = View(),
                                     const Records& records = {}, int tolerance = 2);
    ::testing::AssertionResult IsBlack();

    bool IsSubImage() const { return subImage; }
    CLS_ShaderYuv* Full() const { return static_cast<CLS_ShaderYuv*>(renderer); }
    CLS_ShaderYuvSubImage* Sub() const { return static_cast<CLS_ShaderYuvSubImage*>(renderer); }

    std::unique_ptr<QWidget> top;
    CLS_ShaderBase* renderer = nullptr;
    void* handle = nullptr;
    std::unique_ptr<PaintCounter> paints;

private:
    bool subImage;
};

// Tests for both renderers take the type code as their parameter.
class BothRenderers : public ::testing::TestWithParam<int>
{
};

// One of either kind that no window shows. Released at the end, if nobody did before.
class HiddenRenderer : public BothRenderers
{
protected:
    HiddenRenderer() { TakeLogLines(); }
    ~HiddenRenderer() override { Ovel_Release(renderer); }

    bool IsSubImage() const { return GetParam() == OVEL_RENDER_SUB_IMAGE; }
    template <typename Payload> int Set(int command, const Payload& payload, int size = sizeof(Payload))
    {
        return Ovel_SetParam(renderer, command, const_cast<Payload*>(&payload), size);
    }

    CLS_ShaderBase* const renderer = CreateRenderer(GetParam());
};

// One of either kind in its window, and a source that may be attached.
class ShownRenderer : public BothRenderers
{
protected:
    explicit ShownRenderer(QSize size = QSize(96, 64)) : window(GetParam(), size) {}

    OverlaySource source;
    RenderWindow window;
};

} // namespace OvelTest

bool operator==(const tagOvelZoomArea& a, const tagOvelZoomArea& b);
bool operator==(const tagQRECT& a, const tagQRECT& b);

#define OVEL_FOR_BOTH_RENDERERS(suite)                                                                       \
    INSTANTIATE_TEST_SUITE_P(                                                                                \
        Renderers, suite, ::testing::Values(OVEL_RENDER_FULL, OVEL_RENDER_SUB_IMAGE),                        \
        [](const auto& test) { return test.param == OVEL_RENDER_FULL ? "Full" : "SubImage"; })
