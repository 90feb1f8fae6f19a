#include "Harness.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEvent>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QScreen>
#include <QSurfaceFormat>
#include <QThread>
#include <QVBoxLayout>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <dlfcn.h>
#include <unistd.h>

namespace
{

std::vector<void (*)()> beforeApplication;

void OnQtMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (text.contains(QLatin1String("requestActivate()"))) {
        return; // Qt itself asks for it when a window becomes full screen, and Wayland's plug-in complains
    }
    const std::string line = std::string(context.category) + ": " + text.toStdString();
    (type == QtDebugMsg || type == QtInfoMsg ? OvelTest::qtDebugLines : OvelTest::qtWarnings).Add(line);
}

bool TilesAreNative()
{
    return !qEnvironmentVariableIsEmpty("OVEL_TEST_NATIVE");
}

constexpr unsigned int GlDebugOutput = 0x92E0;
constexpr unsigned int GlDebugOutputSynchronous = 0x8242;
constexpr unsigned int GlDebugTypeError = 0x824C;

void QOPENGLF_APIENTRY OnGlMessage(GLenum, GLenum type, GLuint, GLenum, GLsizei, const char* text,
                                   const void*)
{
    if (type == GlDebugTypeError) {
        OvelTest::glErrors.Add(text);
    }
}

// Makes a context report its errors from birth on.
void WatchContext(QOpenGLContext* context)
{
    QOpenGLContext* previous = QOpenGLContext::currentContext();
    QSurface* previousSurface = previous ? previous->surface() : nullptr;
    QOffscreenSurface surface;
    surface.setFormat(context->format());
    surface.create();
    if (!context->makeCurrent(&surface)) {
        return;
    }
    using Install = void(QOPENGLF_APIENTRY*)(decltype(&OnGlMessage), const void*);
    auto install = reinterpret_cast<Install>(context->getProcAddress(
        context->isOpenGLES() ? "glDebugMessageCallbackKHR" : "glDebugMessageCallback"));
    if (install != nullptr) {
        install(&OnGlMessage, nullptr);
        context->functions()->glEnable(GlDebugOutput);
        context->functions()->glEnable(GlDebugOutputSynchronous);
    }
    context->doneCurrent();
    if (previous) {
        previous->makeCurrent(previousSurface);
    }
}

void ExpectNone(const char* what, const std::vector<std::string>& lines)
{
    EXPECT_TRUE(lines.empty()) << lines.size() << what << ", first: " << lines.front();
}

class Listener : public ::testing::EmptyTestEventListener
{
    void OnTestStart(const ::testing::TestInfo&) override
    {
        alarm(60); // a deadlock ends the program while it names the test that has it
        TakeLogLines();
        OvelTest::qtDebugLines.Take();
    }
    void OnTestEnd(const ::testing::TestInfo&) override
    {
        OvelTest::RunEvents();
        ExpectNone(" Qt warnings", OvelTest::qtWarnings.Take());
        ExpectNone(" GL errors", OvelTest::glErrors.Take());
        alarm(0);
    }
};

void ChooseContext(const std::string& kind)
{
    QSurfaceFormat format;
    format.setOption(QSurfaceFormat::DebugContext);
    if (kind == "core33" || kind == "core45") {
        format.setVersion(kind == "core33" ? 3 : 4, kind == "core33" ? 3 : 5);
        format.setProfile(QSurfaceFormat::CoreProfile);
    } else if (kind == "es2" || kind == "es3") {
        format.setRenderableType(QSurfaceFormat::OpenGLES);
        format.setVersion(kind == "es2" ? 2 : 3, 0);
    }
    QSurfaceFormat::setDefaultFormat(format);
}

// Qt would end the process over a plug-in that is not there.
bool HasWaylandPlugin()
{
    const QStringList paths = QCoreApplication::libraryPaths();
    return std::any_of(paths.begin(), paths.end(), [](const QString& path) {
        return !QDir(path + "/platforms").entryList({"libqwayland*"}).isEmpty();
    });
}

} // namespace

// Takes the place of Qt's own for the widgets: no context of theirs goes unwatched.
bool QOpenGLContext::create()
{
    using Create = bool (*)(QOpenGLContext*);
    static const auto real = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "_ZN14QOpenGLContext6createEv"));
    const bool created = !(OvelTest::contextFails && OvelTest::contextFails(format())) && real(this);
    if (created) {
        WatchContext(this);
    }
    return created;
}

namespace OvelTest
{

Lines qtWarnings;
Lines qtDebugLines;
Lines glErrors;
bool (*contextFails)(const QSurfaceFormat& asked) = nullptr;

std::vector<std::string> TakeErrorLines()
{
    std::vector<std::string> lines = TakeLogLines();
    const auto isOther = [](const std::string& line) { return line.rfind("E ", 0) != 0; };
    lines.erase(std::remove_if(lines.begin(), lines.end(), isOther), lines.end());
    return lines;
}

BeforeApplication::BeforeApplication(void (*function)())
{
    beforeApplication.push_back(function);
}

void RunEvents()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

bool WaitUntil(const std::function<bool()>& condition, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    RunEvents();
    while (!condition()) {
        if (timer.elapsed() > milliseconds) {
            return false;
        }
        QThread::usleep(500);
        RunEvents();
    }
    return true;
}

bool IsFree(QMutex& mutex)
{
    const bool isFree = mutex.tryLock();
    if (isFree) {
        mutex.unlock();
    }
    return isFree;
}

void RunEventsFor(int milliseconds)
{
    WaitUntil([] { return false; }, milliseconds);
}

::testing::AssertionResult Eventually(const std::function<::testing::AssertionResult()>& check,
                                      int milliseconds)
{
    auto result = ::testing::AssertionFailure();
    WaitUntil([&] { return bool(result = check()); }, milliseconds);
    return result;
}

void MakeNativeIfAsked(QWidget& renderer)
{
    if (TilesAreNative()) {
        renderer.setAttribute(Qt::WA_DontCreateNativeAncestors);
        renderer.setAttribute(Qt::WA_NativeWindow);
    }
}

bool QtLosesTiles()
{
    return QT_VERSION_MAJOR >= 6 && TilesAreNative();
}

bool IsWayland()
{
    return QGuiApplication::platformName() == QLatin1String("wayland");
}

QImage ScreenOf(const QWidget& widget)
{
    const QPoint corner = widget.mapToGlobal(QPoint(0, 0));
    QWidget* const window = widget.window();
    // Wayland shows the screen to nobody: there it is what Qt puts into the window.
    const QPixmap shown = IsWayland() ? window->grab(QRect(widget.mapTo(window, QPoint(0, 0)), widget.size()))
                                      : QGuiApplication::primaryScreen()->grabWindow(
                                            0, corner.x(), corner.y(), widget.width(), widget.height());
    QImage image = shown.toImage();
    image.setDevicePixelRatio(1);
    return image;
}

bool PaintCounter::eventFilter(QObject*, QEvent* event)
{
    count += event->type() == QEvent::Paint;
    return false;
}

int OverlaySource::Attach(void* handle)
{
    tagOvelDrawCallback payload{&OverlaySource::Callback, this};
    return Ovel_SetParam(handle, OVELCMD_SET_DRAW_CALLBACK, &payload, sizeof(payload));
}

int OverlaySource::Callback(int reserved, __tagQDrawCallbackInfo* info, int length, void* user)
{
    auto* source = static_cast<OverlaySource*>(user);
    {
        const std::lock_guard<std::mutex> lock(source->callsMutex);
        source->calls.push_back({reserved, *info, length});
    }
    for (auto& record : source->records) {
        info->pfnDrawToRender(&record, sizeof(record), info->pRender);
    }
    if (source->inside) {
        source->inside();
    }
    return 0;
}

CLS_ShaderBase* CreateRenderer(int typeCode)
{
    return static_cast<CLS_ShaderBase*>(Ovel_CreateEx(&typeCode, sizeof(typeCode)));
}

RenderWindow::RenderWindow(int typeCode, QSize size, bool translucent)
    : top(new QWidget), subImage(typeCode == OVEL_RENDER_SUB_IMAGE)
{
    if (translucent) {
        top->setAttribute(Qt::WA_TranslucentBackground);
    }
    auto* layout = new QVBoxLayout(top.get());
    layout->setContentsMargins(0, 0, 0, 0);
    handle = subImage ? CreateRenderer(typeCode) : Ovel_Create(layout);
    renderer = static_cast<CLS_ShaderBase*>(handle);
    layout->addWidget(renderer);
    MakeNativeIfAsked(*renderer);
    paints = std::make_unique<PaintCounter>(renderer);
    top->setGeometry(QRect(QPoint(40, 40), size));
    top->show();
    WaitUntil([this] { return paints->count > 0; });
    EXPECT_EQ(renderer->internalWinId() != 0, TilesAreNative());
    EXPECT_NE(top->internalWinId(), renderer->internalWinId());
}

RenderWindow::~RenderWindow()
{
    Ovel_Release(handle);
    RunEvents();
}

bool RenderWindow::Painted(const std::function<void()>& action)
{
    RunEvents();
    const int before = paints->count;
    action();
    return WaitUntil([&] { return paints->count > before; });
}

bool RenderWindow::Show(Frame frame)
{
    int result = -1;
    return Painted([&] { result = frame.Feed(handle); }) && result == 0;
}

bool RenderWindow::Repaint()
{
    return Painted([this] { renderer->update(); });
}

bool RenderWindow::Resize(QSize size)
{
    return Painted([&] { top->resize(size); }) && WaitUntil([&] { return renderer->size() == size; });
}

QImage RenderWindow::Framebuffer()
{
    QImage image = renderer->grabFramebuffer();
    image.setDevicePixelRatio(1);
    return image;
}

View RenderWindow::CurrentView(View view)
{
    view.widget = renderer->size();
    view.device = Framebuffer().size();
    if (subImage) {
        view.destination = View().destination;
        view.direction = view.angle = view.mirror = 0;
    }
    return view;
}

bool RenderWindow::Look(const View& view)
{
    Set(OVELCMD_SET_VIDEO_ROTATE, tagOvelVideoRotate{view.direction, view.angle, view.mirror});
    return Painted([&] { Set(OVELCMD_SET_EZOOM_AREA, view.zoom); });
}

::testing::AssertionResult RenderWindow::Shows(const Picture& picture, int displayType, const View& view,
                                               const Records& records, int tolerance)
{
    const View seen = CurrentView(view);
    Canvas canvas = RenderPicture(picture, displayType, seen);
    DrawOverlays(canvas, records, seen, subImage);
    auto result = ShowsCanvas(Framebuffer(), canvas, tolerance);
    if (!result) {
        result << "; " << picture.width << "x" << picture.height << " type " << displayType << " " << seen;
    }
    return result;
}

::testing::AssertionResult RenderWindow::IsBlack()
{
    return ShowsCanvas(Framebuffer(), Canvas(CurrentView().device), 0);
}

} // namespace OvelTest

bool operator==(const tagOvelZoomArea& a, const tagOvelZoomArea& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

bool operator==(const tagQRECT& a, const tagQRECT& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

int main(int argc, char** argv)
{
    const bool isDisplayed =
        !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
    if (!isDisplayed || (qgetenv("QT_QPA_PLATFORM") == "wayland" && !HasWaylandPlugin())) {
        std::printf("skipped: there is no display, or no plug-in of Qt's for it\n");
        return 77;
    }
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        qputenv("XDG_RUNTIME_DIR", "/tmp");
    }
    ::testing::InitGoogleTest(&argc, argv);
    qInstallMessageHandler(OnQtMessage);
    ChooseContext(qEnvironmentVariable("OVEL_TEST_CONTEXT").toStdString());
    if (!qEnvironmentVariableIsEmpty("OVEL_TEST_SHARE")) {
        QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    }
    for (auto* function : beforeApplication) {
        function();
    }
    QApplication application(argc, argv);
    OvelTest::qtWarnings.Take();
    ::testing::UnitTest::GetInstance()->listeners().Append(new Listener);
    return RUN_ALL_TESTS();
}
