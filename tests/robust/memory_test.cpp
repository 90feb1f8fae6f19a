// Every allocation of a call fails once, and once together with all that follow: the call says so or copes,
// and the renderer goes on. Each failure is tried in a child process first, because Qt ends the process at
// some of its own.
#include "Harness.h"
#include "Lender.h"

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

using namespace OvelTest;

extern "C" void* __libc_malloc(size_t bytes);
extern "C" void* __libc_calloc(size_t count, size_t bytes);
extern "C" void* __libc_realloc(void* memory, size_t bytes);
extern "C" void* __libc_memalign(size_t alignment, size_t bytes);

namespace
{

// The calling thread's allocations from here on, until the scope ends.
struct Countdown {
    bool armed = false;
    bool once = true;
    int left = 0;
    int seen = 0;
};
thread_local Countdown countdown;

bool Fails()
{
    if (!countdown.armed) {
        return false;
    }
    ++countdown.seen;
    if (countdown.left == 0 || (--countdown.left > 0)) {
        return false;
    }
    countdown.left = countdown.once ? 0 : 1;
    errno = ENOMEM;
    return true;
}

class FailingAllocations
{
public:
    // number 0 only counts.
    explicit FailingAllocations(int number, bool once)
    {
        countdown = Countdown();
        countdown.left = number;
        countdown.once = once;
        countdown.armed = true;
    }
    ~FailingAllocations() { countdown.armed = false; }
};

} // namespace

extern "C" void* malloc(size_t bytes) noexcept
{
    return Fails() ? nullptr : __libc_malloc(bytes);
}

extern "C" void* calloc(size_t count, size_t bytes) noexcept
{
    return Fails() ? nullptr : __libc_calloc(count, bytes);
}

extern "C" void* realloc(void* memory, size_t bytes) noexcept
{
    return Fails() ? nullptr : __libc_realloc(memory, bytes);
}

extern "C" void* aligned_alloc(size_t alignment, size_t bytes) noexcept
{
    return Fails() ? nullptr : __libc_memalign(alignment, bytes);
}

extern "C" int posix_memalign(void** memory, size_t alignment, size_t bytes) noexcept
{
    *memory = Fails() ? nullptr : __libc_memalign(alignment, bytes);
    return *memory ? 0 : ENOMEM;
}

namespace
{

enum class Ending { Fine, Wrong, Crashed };

// The check runs in the child only, where nothing may talk to the display.
Ending TryInChild(const std::function<bool()>& call)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        try {
            _exit(call() ? 0 : 1);
        } catch (...) {
            _exit(1); // an exception has left the library
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) > 1) {
        return Ending::Crashed;
    }
    return WEXITSTATUS(status) == 0 ? Ending::Fine : Ending::Wrong;
}

// Runs the call with each of its allocations failing; counts what crashed.
struct Sweep {
    int allocations = 0;
    int crashed = 0;
    int refused = 0;
};

using Call = std::function<int()>; // 0 or -1

Sweep FailEach(const Call& call, bool once, const std::function<bool()>& stillFine, bool inProcess)
{
    Sweep sweep;
    {
        const FailingAllocations none(0, true);
        call();
        sweep.allocations = countdown.seen;
    }
    for (int number = 1; number <= sweep.allocations; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number << (once ? "" : " and all after it"));
        int result = 0;
        const auto attempt = [&] {
            {
                const FailingAllocations failing(number, once);
                result = call();
            }
            return (result == 0 || result == -1) && stillFine();
        };
        const Ending ending = TryInChild(attempt);
        EXPECT_NE(ending, Ending::Wrong);
        sweep.crashed += ending == Ending::Crashed;
        if (ending != Ending::Fine || !inProcess) {
            continue;
        }
        EXPECT_TRUE(attempt());
        sweep.refused += result == -1;
    }
    return sweep;
}

class Memory : public BothRenderers
{
};
OVEL_FOR_BOTH_RENDERERS(Memory);

TEST_P(Memory, Create)
{
    const auto create = [] { return CreateRenderer(GetParam()) ? 0 : -1; };
    const auto createsAnother = [] {
        CLS_ShaderBase* renderer = CreateRenderer(GetParam());
        return renderer && Frame(MakePicture(8, 8), Yv12).Feed(renderer) == 0 && Ovel_Release(renderer) == 0;
    };
    // Once only: with nothing left at all, Qt's widgets cannot even be taken down again.
    const Sweep sweep = FailEach(create, true, createsAnother, false);
    EXPECT_GT(sweep.allocations, 10);
    // QObject::connect does not look at what malloc gives it for its table; Qt 6 looks up screens likewise.
    EXPECT_LE(sweep.crashed, QT_VERSION_MAJOR >= 6 ? 2 : 1);
    qtWarnings.Take();
}

TEST_P(Memory, FrameRecordCommand)
{
    RenderWindow window(GetParam());
    OverlaySource source;
    source.records = {Graph(OVEL_GRAPH_OUTLINE, 0xFFFFFF, 5, {{10, 10}, {80, 14}, {60, 50}})};
    source.Attach(window.handle);
    const Picture picture = MakePicture(40, 30, 3);
    int size = 0;
    const auto showsTheNextFrame = [&] {
        countdown.armed = false;
        return Frame(picture, Yv12).Feed(window.handle) == 0;
    };
    for (const int layout : Layouts) {
        Frame frames[] = {Frame(MakePicture(20, 18), layout), Frame(MakePicture(24, 18), layout)};
        const Call feed = [&] { return frames[++size % 2].Feed(window.handle); };
        for (const bool once : {true, false}) {
            const Sweep sweep = FailEach(feed, once, showsTheNextFrame, true);
            EXPECT_GT(sweep.refused, 0);
            EXPECT_EQ(sweep.crashed, 0);
        }
    }
    ASSERT_FALSE(source.calls.empty());
    const __tagQDrawCallbackInfo info = source.calls.back().info;
    const Call record = [&] {
        window.renderer->m_vecDrawGraphInfo = {}; // the next append allocates
        return info.pfnDrawToRender(&source.records[0], sizeof(source.records[0]), info.pRender);
    };
    const Call zoom = [&] { return window.Set(OVELCMD_SET_EZOOM_AREA, tagOvelZoomArea{0, 0, 1, 1}); };
    const Call ratio = [&] { return window.Set(OVELCMD_SET_DRAW_RATIO_MODE, 1); };
    const Call rotate = [&] { return window.Set(OVELCMD_SET_VIDEO_ROTATE, tagOvelVideoRotate{}); };
    for (const Call& call : {record, zoom, ratio, rotate}) {
        const Sweep sweep = FailEach(call, true, showsTheNextFrame, true);
        EXPECT_EQ(sweep.crashed, 0);
    }
    source.records.clear();
    Ovel_ClearDraw(window.handle);
    ASSERT_TRUE(window.Show(picture, Nv12));
    EXPECT_TRUE(window.Shows(picture, Nv12, View(), {}, 5));
}

// A frame that stays where it is needs no memory of the library: what its draw callback is in want of costs
// records, never the frame, and every frame comes back once.
TEST_P(Memory, FrameByReference)
{
    RenderWindow window(GetParam());
    OverlaySource source;
    source.records = {Graph(OVEL_GRAPH_TEXT, 0xFFFFFF, 5, {{10, 10}, {80, 14}})};
    Loan loans[] = {Loan(MakePicture(20, 18), Nv12), Loan(MakePicture(24, 18), Nv12),
                    Loan(MakePicture(24, 18), Yv12)};
    size_t first = 0; // from 1 on types change, which the log says, and records come: that takes memory
    size_t lent = 0;
    size_t returned = 0;
    const Call lend = [&] {
        window.renderer->m_vecDrawGraphInfo = {};
        return Ovel_ShowYuvFrameRef(
            window.handle, &loans[first + lent++ % 2].info, sizeof(tagOvelFrameRef),
            [](void* user) { ++*static_cast<size_t*>(user); }, &returned);
    };
    const auto oneIsOut = [&] {
        countdown.armed = false;
        return lent - returned == 1;
    };
    ASSERT_EQ(lend(), 0);
    for (; first <= 1; ++first) {
        for (const bool once : {true, false}) {
            const Sweep sweep = FailEach(lend, once, oneIsOut, true);
            EXPECT_EQ(sweep.crashed + sweep.refused, 0);
            EXPECT_EQ(sweep.allocations > 0, first > 0) << sweep.allocations;
        }
        source.Attach(window.handle);
    }
    Ovel_ClearDraw(window.handle);
    EXPECT_EQ(lent, returned);
}

// A frame that finds no memory is refused, and the picture before it stays on the screen, also when the
// window is painted again.
TEST_P(Memory, ThePictureBeforeStays)
{
    RenderWindow window(GetParam());
    for (const int layout : Layouts) {
        ASSERT_TRUE(window.Show(MakePicture(40, 30, layout), layout));
        const QImage expected = window.Framebuffer();
        Frame larger(MakePicture(80, 60), layout);
        {
            const FailingAllocations failing(1, false);
            EXPECT_EQ(larger.Feed(window.handle), -1);
        }
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(window.Repaint());
        }
        EXPECT_TRUE(SameImage(window.Framebuffer(), expected));
        ASSERT_TRUE(window.Show(std::move(larger)));
        EXPECT_TRUE(window.Shows(MakePicture(80, 60), layout, View(), {}, 5));
    }
}

} // namespace
