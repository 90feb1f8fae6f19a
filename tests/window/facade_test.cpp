// The exported functions as a host meets them: renderers, type codes, time-outs, threads, life and death.
#include "Lender.h"
#include "OvelRender.h"
#include "ScriptedHost.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QVBoxLayout>

using namespace OvelTest;

namespace
{

void* createdTooEarly = &createdTooEarly;
std::vector<std::string> linesTooEarly;
const BeforeApplication early([] {
    createdTooEarly = Ovel_Create(nullptr);
    linesTooEarly = TakeLogLines();
});

int FeedSmall(void* renderer)
{
    return Frame(MakePicture(8, 4), Yv12).Feed(renderer);
}

TEST(Facade, NeedsAnApplicationAndItsThread)
{
    EXPECT_EQ(createdTooEarly, nullptr);
    EXPECT_FALSE(linesTooEarly.empty());
    void* elsewhere = &elsewhere;
    std::thread([&] { elsewhere = Ovel_Create(nullptr); }).join();
    EXPECT_EQ(elsewhere, nullptr);
    EXPECT_FALSE(TakeErrorLines().empty());
}

TEST(Facade, TypeCodes)
{
    struct Case {
        std::vector<uint8_t> payload;
        int size;
        int type; // -1: refused
    };
    // clang-format off
    const Case cases[] = {
        {{0, 0, 0, 0}, 4, 0}, {{3, 0, 0, 0}, 4, 0}, {{6, 0, 0, 0}, 4, 0}, {{7, 0, 0, 0}, 4, 7}, {{7, 9}, 0, 0},
        {{7, 1}, 1, 7}, {{7, 0, 0, 0, 1, 1, 1, 1}, 8, 7}, {{2, 0, 0, 0}, 4, -1}, {{8, 0, 0, 0}, 4, -1},
        {{7, 1, 0, 0}, 4, -1}, {{0, 0, 0, 0}, -1, -1}};
    // clang-format on
    for (Case c : cases) {
        SCOPED_TRACE(testing::Message() << int(c.payload[0]) << " size " << c.size);
        auto* renderer = static_cast<CLS_ShaderBase*>(Ovel_CreateEx(c.payload.data(), c.size));
        EXPECT_EQ(dynamic_cast<CLS_ShaderYuv*>(renderer) != nullptr, c.type == 0);
        EXPECT_EQ(dynamic_cast<CLS_ShaderYuvSubImage*>(renderer) != nullptr, c.type == 7);
        EXPECT_EQ(TakeErrorLines().empty(), renderer != nullptr);
        if (renderer) {
            EXPECT_EQ(renderer->parentWidget(), nullptr);
            EXPECT_EQ(Ovel_Release(renderer), 0);
        }
    }
    EXPECT_EQ(CreateRenderer(2), nullptr);
    EXPECT_EQ(TakeErrorLines(),
              (std::vector<std::string>{"E OvelRender|CreateShader|CreateShader failed, type=2.",
                                        "E OvelRender|Ovel_CreateEx|[OvelInterface::Ovel_CreateEx] new "
                                        "OvelYUVShader failed, type=2"}));
    EXPECT_EQ(Ovel_CreateEx(nullptr, 4), nullptr);
    EXPECT_TRUE(TakeLogLines().empty());
}

TEST(Facade, CreateAddsToTheLayout)
{
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* renderer = static_cast<CLS_ShaderBase*>(Ovel_Create(layout));
    EXPECT_EQ(TakeLogLines(), std::vector<std::string>{"CreateShader CLS_ShaderYuv."});
    EXPECT_EQ(layout->indexOf(renderer), 0);
    EXPECT_EQ(renderer->sizeHint(), QSize(200, 200));
    EXPECT_EQ(renderer->minimumSizeHint(), QSize(50, 50));
    EXPECT_EQ(Ovel_Release(renderer), 0);
    EXPECT_EQ(renderer->parentWidget(), nullptr) << "detached at once, deleted later";
    EXPECT_EQ(layout->count(), 0);
}

TEST(Facade, UnknownHandles)
{
    int number = 0;
    void* released = CreateRenderer(7);
    EXPECT_EQ(Ovel_Release(released), 0);
    void* known = CreateRenderer(0);
    void* below = static_cast<char*>(known) - 8;
    TakeLogLines();
    for (void* handle : {static_cast<void*>(nullptr), static_cast<void*>(&number), released, below}) {
        EXPECT_EQ(FeedSmall(handle), -1);
        EXPECT_EQ(Ovel_SetParam(handle, OVELCMD_SET_STOPDRAW_PARA, &number, 4), -1);
        EXPECT_EQ(Ovel_GetParam(handle, OVELCMD_SET_STOPDRAW_PARA, &number, 4), -1);
        Ovel_ClearDraw(handle);
    }
    EXPECT_TRUE(TakeLogLines().empty());
    EXPECT_EQ(Ovel_Release(nullptr), -1);
    EXPECT_TRUE(TakeLogLines().empty());
    EXPECT_EQ(Ovel_Release(released), 0) << "released twice";
    EXPECT_EQ(TakeLogLines().size(), 1u);
    EXPECT_EQ(Ovel_Release(known), 0);
}

// Feeds, and expects that it gave up at its time limit.
void ExpectDropped(void* busy)
{
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(FeedSmall(busy), -1);
    EXPECT_GE(timer.elapsed(), 450);
    EXPECT_LE(timer.elapsed(), 3000);
}

TEST(Facade, ShowGivesUpOnABusyRenderer)
{
    void* busy = CreateRenderer(0);
    void* other = CreateRenderer(7);
    QMutex* mutex = nullptr;
    QMutex* otherMutex = nullptr;
    ASSERT_EQ(FindShader(busy, mutex, false), busy);
    ASSERT_EQ(FindShader(other, otherMutex, false), other);
    ASSERT_NE(mutex, otherMutex);
    {
        std::unique_lock<QMutex> hold(*mutex);
        ExpectDropped(busy);
        EXPECT_EQ(FeedSmall(other), 0) << "the neighbour is not concerned";
        int zero = 0;
        HostThread waiter([&] { EXPECT_EQ(Ovel_SetParam(busy, OVELCMD_SET_STOPDRAW_PARA, &zero, 4), 0); });
        EXPECT_FALSE(waiter.done.Wait(700)) << "a command waits without limit";
        hold.unlock();
        waiter.Finish();
    }
    EXPECT_EQ(FeedSmall(busy), 0);
    QMutex* untouched = nullptr;
    int nobody = 0;
    EXPECT_EQ(FindShader(&nobody, untouched, false), nullptr);
    EXPECT_EQ(untouched, nullptr);
    Ovel_Release(busy);
    Ovel_Release(other);
}

class FacadeLife : public HiddenRenderer
{
};
OVEL_FOR_BOTH_RENDERERS(FacadeLife);

TEST_P(FacadeLife, CallbackBlocksOthersButNotItself)
{
    Signal isIn, leave;
    ScriptedHost host([&](const ScriptedHost::Run&) {
        int value = 1;
        EXPECT_EQ(FeedSmall(renderer), -1);
        EXPECT_EQ(Lender().Lend(renderer, Loan(MakePicture(8, 4), Yv12)), -1) << "and it is back";
        EXPECT_EQ(Set(OVELCMD_SET_STOPDRAW_PARA, value), -1);
        EXPECT_EQ(Ovel_GetParam(renderer, OVELCMD_SET_STOPDRAW_PARA, &value, 4), -1);
        Ovel_ClearDraw(renderer);
        EXPECT_EQ(Ovel_Release(renderer), -1);
        isIn.Set();
        leave.Wait();
    });
    EXPECT_EQ(host.Attach(renderer), 0);
    HostThread feeder([&] { EXPECT_EQ(FeedSmall(renderer), 0); });
    EXPECT_TRUE(isIn.Wait());
    ExpectDropped(renderer);
    leave.Set();
    feeder.Finish();
    EXPECT_EQ(renderer->blReserveLastFrm, 0);
    EXPECT_NE(renderer->m_pfnDrawCallback, nullptr);
    Ovel_ClearDraw(renderer);
    EXPECT_EQ(FeedSmall(renderer), 0);
    EXPECT_EQ(host.runs, 1);
}

TEST_P(FacadeLife, SinkRefusesRenderersThatAreGone)
{
    OverlaySource source;
    source.Attach(renderer);
    FeedSmall(renderer);
    ASSERT_EQ(source.calls.size(), 1u);
    const __tagQDrawCallbackInfo info = source.calls[0].info;
    __tagQDrawGraphInfo record = Graph(0, 0, 1, {{1, 1}});
    EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), nullptr), -1);
    EXPECT_EQ(info.pfnDrawToRender(nullptr, sizeof(record), info.pRender), -1);
    EXPECT_EQ(info.pfnDrawToRender(&record, 0, info.pRender), -1);
    int nobody = 0;
    EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), &nobody), -1);
    {
        const auto push = [&] {
            for (int i = 0; i < 500; ++i) {
                EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), info.pRender), 0);
            }
        };
        const HostThread one(push), another(push);
    }
    EXPECT_EQ(renderer->m_vecDrawGraphInfo.size(), 1000) << "later and from any thread";
    EXPECT_EQ(Ovel_Release(renderer), 0);
    EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), info.pRender), -1);
    RunEvents();
    EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), info.pRender), -1);
}

TEST_P(FacadeLife, ParentDeletesTheRenderer)
{
    auto* parent = new QWidget;
    renderer->setParent(parent);
    parent->show();
    OverlaySource source;
    source.Attach(renderer);
    FeedSmall(renderer);
    RunEventsFor(20);
    delete parent;
    QMutex* mutex = nullptr;
    EXPECT_EQ(FindShader(renderer, mutex, false), nullptr) << "it left the registry by itself";
    EXPECT_EQ(FeedSmall(renderer), -1);
    const __tagQDrawCallbackInfo info = source.calls.at(0).info;
    __tagQDrawGraphInfo record{};
    EXPECT_EQ(info.pfnDrawToRender(&record, sizeof(record), info.pRender), -1);
    EXPECT_EQ(Ovel_Release(renderer), 0);
}

// Calls that are queued to a widget may delete it, as Qt lets them.
TEST_P(FacadeLife, QueuedCallDeletesTheRenderer)
{
    QMetaObject::invokeMethod(
        renderer, [this] { delete renderer; }, Qt::QueuedConnection);
    RunEvents();
    EXPECT_EQ(FeedSmall(renderer), -1);
}

} // namespace
