// Parts that hold what frames, callbacks and commands bring: the frame buffer and its lock, lent pictures, the
// overlay list, the view.
#include "parts/FrameLock.h"
#include "parts/FrameReference.h"
#include "parts/FrameStore.h"
#include "parts/OverlayList.h"
#include "parts/ViewStore.h"

#include "ScriptedHost.h"

#include <cmath>
#include <cstring>
#include <fstream>

#include <malloc.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace OvelTest;

namespace
{

struct StoreWithFields {
    int width = 0;
    int height = 0;
    int declared = 0;
    uint8_t* buffer = nullptr;
    uint8_t* luma = nullptr;
    uint8_t* chroma = nullptr;
    FrameStore store{{width, height, declared, buffer, luma, chroma}};

    ~StoreWithFields() { store.Drop(); }
    // A block that a host puts in the place of the buffer.
    void TakeForeign(size_t bytes)
    {
        std::free(buffer);
        buffer = static_cast<uint8_t*>(std::malloc(bytes));
        std::memset(buffer, 0x5A, bytes);
    }
};

// However short the block is that a host put there: what fits is copied, and nothing is shown that is not
// there.
TEST(FrameStorePart, ShortAndForeignBlocks)
{
    constexpr int Width = 10;
    constexpr int Height = 6;
    const Picture picture = MakePicture(Width, Height);
    const struct {
        const char* name;
        int type, pitch;
        Frame::Source source;
        int declared;
    } sources[] = {{"block", Yv12, 0, Frame::Block, 0},    {"declared block", Yv12, 0, Frame::Block, 90},
                   {"packed", Nv12, 0, Frame::Block, 0},   {"planes", Nv12, 0, Frame::Planes, 0},
                   {"pitched", Nv12, 13, Frame::Block, 0}, {"pitched planes", Nv12, 13, Frame::Planes, 0}};
    for (const auto& source : sources) {
        Frame frame(picture, source.type, source.pitch, source.source);
        frame.info.iDataSize = source.declared;
        const std::vector<uint8_t> whole = BufferBytes(picture, source.type);
        ASSERT_EQ(whole.size(), 90u);
        for (size_t room = 1; room <= 120; ++room) {
            SCOPED_TRACE(testing::Message() << source.name << " into " << room);
            StoreWithFields s;
            ASSERT_EQ(s.store.Reset(Width, Height, 0), 0);
            s.TakeForeign(room);
            const size_t usable = s.store.Bytes(); // what malloc rounded up to is the host's too
            ASSERT_LE(std::min(room, whole.size()), usable);
            s.store.Copy(frame.info);
            const size_t copied = std::min(usable, whole.size());
            EXPECT_EQ(std::memcmp(s.buffer, whole.data(), copied), 0);
            EXPECT_TRUE(std::all_of(s.buffer + copied, s.buffer + std::max(room, copied),
                                    [](uint8_t byte) { return byte == 0x5A; }));
            EXPECT_EQ(s.store.HoldsPicture(source.type), usable >= whole.size());
        }
    }
}

TEST(FrameStorePart, PlanesThatPointElsewhere)
{
    StoreWithFields s;
    ASSERT_EQ(s.store.Reset(10, 6, 0), 0);
    uint8_t elsewhere[120] = {};
    const struct {
        uint8_t* luma;
        uint8_t* chroma;
        bool holds;
    } cases[] = {
        {s.buffer, s.buffer + 60, true},  {s.buffer + 30, s.buffer, true}, {s.buffer, s.buffer + 61, false},
        {s.buffer + 31, s.buffer, false}, {s.buffer - 1, s.buffer, false}, {s.buffer, s.buffer + 4000, false},
        {elsewhere, s.buffer, false},     {s.buffer, elsewhere, false},    {nullptr, s.buffer, false}};
    for (const auto& [luma, chroma, holds] : cases) {
        s.luma = luma;
        s.chroma = chroma;
        EXPECT_EQ(s.store.HoldsPicture(Nv12), holds) << luma - s.buffer << ", " << chroma - s.buffer;
        EXPECT_TRUE(s.store.HoldsPicture(Yv12));
    }
}

// However deep in a call a picture is let go of, the host has it back when that call is over, once.
TEST(FrameReferencePart, GivenBackAfterTheCall)
{
    int returned = 0;
    const int another = 0;
    const auto lend = [&] {
        return FrameReference([](void* user) { ++*static_cast<int*>(user); }, &returned);
    };
    {
        const LettingGo call(&returned);
        {
            const LettingGo nested(&returned);
            LettingGo::Later(lend());
        }
        EXPECT_EQ(returned, 0);
        {
            const LettingGo nested(&another);
            LettingGo::Later(lend());
        }
        EXPECT_EQ(returned, 1) << "the call for another renderer is over";
    }
    EXPECT_EQ(returned, 2);
    LettingGo::Later(lend());
    EXPECT_EQ(returned, 3) << "outside every call at once";
}

// Whether a thread of this process sleeps; as nothing else tells that it waits in a lock.
bool Sleeps(long thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    const size_t name = text.rfind(") ");
    return name != std::string::npos && text[name + 2] == 'S';
}

bool FallsAsleep(const std::atomic<long>& thread)
{
    for (int asleep = 0, i = 0; i < 5000; ++i) {
        asleep = thread != 0 && Sleeps(thread) ? asleep + 1 : 0;
        if (asleep == 5) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

// A feeder without pauses takes its lock again at once.
TEST(FrameLockPart, TheGuiThreadGoesBeforeTheNextFrame)
{
    QMutex mutex;
    FrameGate gate(mutex);
    for (int round = 0; round < 20; ++round) {
        std::atomic<long> painter{0};
        std::atomic<bool> painted{false};
        const auto take = round % 2 ? &FrameLock::ForPaint : &FrameLock::ForContext;
        FrameLock frame = FrameLock::ForFrame(gate);
        std::thread paint([&] {
            painter = syscall(SYS_gettid);
            const FrameLock lock = take(gate);
            painted = static_cast<bool>(lock);
        });
        EXPECT_TRUE(FallsAsleep(painter));
        frame.Unlock();
        {
            const FrameLock next = FrameLock::ForFrame(gate);
            EXPECT_TRUE(painted);
        }
        paint.join();
    }
}

TEST(FrameLockPart, WaitsAsLongAsItsKindSays)
{
    QMutex mutex;
    FrameGate gate(mutex);
    const auto took = [](const std::function<void()>& work) {
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::steady_clock::now() - start;
    };
    using namespace std::chrono_literals;
    {
        FrameLock held = FrameLock::ForFrame(gate);
        std::thread([&] {
            EXPECT_GE(took([&] { EXPECT_FALSE(FrameLock::ForPaint(gate)); }), 480ms);
            EXPECT_LT(took([&] { EXPECT_FALSE(FrameLock::IfFree(gate)); }), 400ms);
        }).join();
        // Inside the frame's own callback nobody else could let go.
        EXPECT_LT(took([&] { EXPECT_FALSE(FrameLock::ForPaint(gate)); }), 400ms);
        EXPECT_FALSE(FrameLock::ForContext(gate));
        EXPECT_FALSE(FrameLock::IfFree(gate));
        held.Unlock();
        EXPECT_FALSE(held);
        EXPECT_TRUE(FrameLock::IfFree(gate)) << "let go, and what could not be had is not let go";
        const FrameLock other = FrameLock::ForPaint(gate);
        EXPECT_TRUE(other);
        held.Unlock(); // not another's
        EXPECT_FALSE(FrameLock::IfFree(gate));
    }
    EXPECT_TRUE(FrameLock::ForFrame(gate)) << "a paint that gave up stands in nobody's way";
}

struct ListWithFields {
    QMutex mutex;
    QVector<__tagQDrawGraphInfo> records;
    OverlayList list{mutex, records};
    std::atomic<unsigned int> lastParam{0};

    uint64_t Start(OverlayList::Start start = OverlayList::Start::Emptied,
                   std::optional<unsigned int> param = std::nullopt)
    {
        return list.StartRun(start, param, lastParam).run;
    }
};

TEST(OverlayListPart, RunsThatWereOvertaken)
{
    ListWithFields l;
    __tagQDrawGraphInfo text = Label("text", {0, 0, 9, 9});
    const auto store = [&](std::optional<uint64_t> run) { return l.list.Store(&text, sizeof(text), run); };
    EXPECT_EQ(store(std::nullopt), 0) << "before any run";
    const uint64_t first = l.Start(OverlayList::Start::Emptied, 7u);
    EXPECT_TRUE(l.records.isEmpty());
    EXPECT_FALSE(l.list.HasTexts());
    EXPECT_EQ(store(first), 0);
    const auto second = l.list.StartRun(OverlayList::Start::AsItIs, std::nullopt, l.lastParam);
    EXPECT_EQ(second.frameParam, 7u) << "a resize asks for the last frame";
    EXPECT_EQ(l.records.size(), 1) << "kept";
    const quint64 serial = l.list.Serial();
    EXPECT_EQ(store(first), 0) << "taken, and dropped";
    EXPECT_EQ(l.list.Serial(), serial);
    EXPECT_EQ(l.records.size(), 1);
    EXPECT_EQ(store(second.run), 0);
    EXPECT_EQ(store(std::nullopt), 0);
    EXPECT_EQ(l.records.size(), 3);
    EXPECT_GT(l.list.Serial(), serial);
    const uint64_t third = l.Start();
    EXPECT_TRUE(l.records.isEmpty());
    const quint64 emptied = l.list.Serial();
    l.list.Clear();
    EXPECT_EQ(l.list.Serial(), emptied) << "an empty list that is emptied is no change";
    EXPECT_EQ(store(third), 0) << "still of the run that began last";
    EXPECT_TRUE(l.list.HasTexts());
}

struct ViewWithFields {
    tagOvelZoomArea zoom{0, 0, 1, 1};
    QRect pixels;
    tagOvelZoomArea destination{0, 0, 1, 1};
    int direction = 0;
    int angle = 0;
    int mirror = 0;
    ViewStore view{{zoom, pixels, destination, direction, angle, mirror}};
};

// What one command stores is seen whole or not at all.
TEST(ViewStorePart, HandsOverWhole)
{
    ViewWithFields v;
    std::atomic<bool> stop{false};
    std::thread commands([&] {
        for (int n = 1; !stop; n = n % 1000 + 1) {
            const double f = n;
            const tagOvelZoomArea area{f, f, f, f};
            v.view.SetZoom(&area, sizeof(area));
            const tagOvelVideoRotate rotate{n, n, n};
            v.view.SetRotation(&rotate, sizeof(rotate));
            v.view.SetDestination({n, n, n, n}, QSize(1, 1));
            v.view.NoteWidget(n % 2 != 0, QSize(n, n));
        }
    });
    for (int i = 0; i < 20000; ++i) {
        const ViewParameters seen = v.view.Get();
        const auto whole = [](const tagOvelZoomArea& a) { return a.left == a.top && a.right == a.bottom; };
        const QRect pixels = v.view.DestinationPixels();
        const QSize size = v.view.VisibleSize();
        if (!whole(seen.zoom) || !whole(seen.destination) || seen.rotate.iAngle != seen.rotate.iMirrorType ||
            seen.rotate.iAngle != seen.rotate.iDirection || pixels.left() != pixels.top() ||
            size.width() != size.height()) {
            ADD_FAILURE() << "torn after " << i;
            break;
        }
    }
    stop = true;
    commands.join();
}

} // namespace
