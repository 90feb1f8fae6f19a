// A host that is not linked with the library: loads it, uses it, lets go of it while Qt still holds what was
// posted, and ends its application only after everything of the library is gone; all that with two
// applications, one after the other. unload_test LIBRARY
#include "OvelInterface.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QWidget>

#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

namespace
{

int failures = 0;

void Expect(bool holds, const char* what)
{
    if (!holds && ++failures) {
        std::fprintf(stderr, "FAILED: %s\n", what);
    }
}

struct Library {
    explicit Library(const char* path) : handle(dlopen(path, RTLD_NOW | RTLD_LOCAL))
    {
        Expect(handle != nullptr, "the library loads");
        create = reinterpret_cast<decltype(&Ovel_Create)>(dlsym(handle, "Ovel_Create"));
        show = reinterpret_cast<decltype(&Ovel_ShowYuvFrame)>(dlsym(handle, "Ovel_ShowYuvFrame"));
        release = reinterpret_cast<decltype(&Ovel_Release)>(dlsym(handle, "Ovel_Release"));
    }
    ~Library() { Expect(dlclose(handle) == 0, "the library closes"); }

    void* const handle;
    decltype(&Ovel_Create) create;
    decltype(&Ovel_ShowYuvFrame) show;
    decltype(&Ovel_Release) release;
};

void RunEvents()
{
    for (int i = 0; i < 5; ++i) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

int ShowFrame(const Library& library, void* renderer)
{
    static uint8_t bytes[16 * 16 * 3 / 2] = {};
    tagYuvFrameInfo frame = {};
    frame.pYuvData = bytes;
    frame.iWidth = frame.iHeight = 16;
    return library.show(renderer, &frame, sizeof(frame));
}

bool PaintsFromAThread(const Library& library, void* renderer)
{
    struct PaintCounter : QObject {
        bool eventFilter(QObject*, QEvent* event) override
        {
            count += event->type() == QEvent::Paint;
            return false;
        }
        int count = 0;
    } paints;
    static_cast<QWidget*>(renderer)->installEventFilter(&paints);
    std::thread([&] { ShowFrame(library, renderer); }).join();
    for (int i = 0; i < 500 && paints.count == 0; ++i) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return paints.count > 0;
}

// Calls as late as a program can: after the static objects of a library that was loaded later are gone.
struct LateCalls {
    ~LateCalls()
    {
        if (release && (release(renderer) != 0 || show(renderer, &frame, sizeof(frame)) != -1)) {
            _exit(1);
        }
    }
    void* renderer = nullptr;
    decltype(&Ovel_Release) release = nullptr;
    decltype(&Ovel_ShowYuvFrame) show = nullptr;
    tagYuvFrameInfo frame = {};
} lateCalls;

void RunApplication(int& argc, char** argv)
{
    const QApplication application(argc, argv);
    std::unique_ptr<QWidget> window;
    for (int round = 0; round < 3; ++round) {
        window = std::make_unique<QWidget>();
        auto* layout = new QHBoxLayout(window.get());
        window->show();
        {
            const Library library(argv[1]);
            void* const renderer = library.create(layout);
            RunEvents();
            Expect(PaintsFromAThread(library, renderer), "a frame from another thread is painted");
            Expect(ShowFrame(library, renderer) == 0, "a frame is taken");
            RunEvents();
            ShowFrame(library, renderer); // a repaint and a deletion are on their way when the library closes
            if (round == 0) {
                Expect(library.release(renderer) == 0, "release");
            }
        }
        if (round < 2) {
            RunEvents();
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || qEnvironmentVariableIsEmpty("DISPLAY")) {
        return 77;
    }
    {
        const Library library(argv[1]);
        Expect(library.create(nullptr) == nullptr, "no renderer without an application");
    }
    for (int life = 0; life < 2; ++life) {
        RunApplication(argc, argv);
    }
    const QApplication application(argc, argv);
    const Library library(argv[1]);
    lateCalls.renderer = library.create(nullptr);
    lateCalls.release = library.release;
    lateCalls.show = library.show;
    Expect(library.release(library.create(nullptr)) == 0, "release");
    return failures == 0 ? 0 : 1;
}
