// Parts that say who is inside a renderer or its draw callback, and wait for them.
#include "parts/PlayerCallback.h"

#include "ScriptedHost.h"

#include <stdexcept>

using namespace OvelTest;

namespace
{

using namespace std::chrono_literals;

struct CallbackWithFields {
    OvelDrawCallback function = nullptr;
    void* user = nullptr;
    PlayerCallback callback{function, user};

    explicit CallbackWithFields(void* data = nullptr) { callback.Set({&Call, data}); }
    // The user value is what the run does.
    static int Call(int, __tagQDrawCallbackInfo*, int, void* data)
    {
        if (data) {
            (*static_cast<std::function<void()>*>(data))();
        }
        return 5;
    }
    int Run()
    {
        const PlayerCallback::Run run(callback);
        return run ? run.Ask(DescribePicture(0, {}, nullptr, this), 1) : 0;
    }
};

// Where the callback stays until it is let go.
struct StayingCallback {
    Signal isIn;
    Signal leave;
    std::function<void()> script = [this] {
        isIn.Set();
        leave.Wait();
    };
    CallbackWithFields c{&script};
};

TEST(PlayerCallbackPart, WhoTakesItAwayWaitsForItsRuns)
{
    std::function<void()> nothing = [] {};
    struct Case {
        const char* name;
        bool waits;
        std::function<bool(CallbackWithFields&)> change;
        bool isGone;
    };
    const Case cases[] = {
        {"forget", true, [](CallbackWithFields& c) { return c.callback.Forget(); }, true},
        {"another user value", true,
         [&](CallbackWithFields& c) {
             return c.callback.Set({&CallbackWithFields::Call, &nothing});
         },
         false},
        {"the same pair", false, [](CallbackWithFields& c) { return c.callback.Set(c.callback.Get()); },
         false},
    };
    for (const bool inCallback : {false, true}) {
        for (const Case& change : cases) {
            SCOPED_TRACE(testing::Message() << change.name << (inCallback ? " in a callback" : ""));
            StayingCallback staying;
            const tagOvelDrawCallback before = staying.c.callback.Get();
            HostThread runner([&] { EXPECT_EQ(staying.c.Run(), 5); });
            ASSERT_TRUE(staying.isIn.Wait());
            Signal changed;
            bool result = false;
            HostThread taker([&] {
                std::optional<DrawCallbackScope> scope;
                if (inCallback) {
                    scope.emplace(&taker, 1); // another renderer's
                }
                result = change.change(staying.c);
                changed.Set();
            });
            EXPECT_NE(changed.Wait(200), change.waits);
            const bool givesUp = change.waits && inCallback;
            if (givesUp) {
                EXPECT_TRUE(changed.Wait(3000));
                EXPECT_EQ(staying.c.callback.Get().pUser, before.pUser) << "the former pair stays";
                EXPECT_EQ(staying.c.callback.Get().pfnDrawCallback, before.pfnDrawCallback);
            }
            staying.leave.Set();
            taker.Finish();
            runner.Finish();
            EXPECT_EQ(result, !givesUp);
            EXPECT_EQ(staying.c.function == nullptr, change.isGone && !givesUp);
            EXPECT_EQ(staying.c.user == nullptr, false) << "the user value stays";
        }
    }
}

TEST(PlayerCallbackPart, OwnAndFailedRunsHoldNobody)
{
    CallbackWithFields c;
    std::function<void()> takeOneself = [&] { EXPECT_TRUE(c.callback.Forget()); };
    std::function<void()> fail = [] { throw std::runtime_error("the host's"); };
    c.callback.Set({&CallbackWithFields::Call, &takeOneself});
    EXPECT_EQ(c.Run(), 5);
    EXPECT_EQ(c.Run(), 0) << "nobody to ask";
    c.callback.Set({&CallbackWithFields::Call, &fail});
    EXPECT_THROW(c.Run(), std::runtime_error);
    HostThread([&] { EXPECT_TRUE(c.callback.Forget()); }).Finish();
    EXPECT_EQ(WaitLimit(), std::nullopt) << "no scope is left behind";
}

// Runs that end in another order than they began, while others come and go.
TEST(PlayerCallbackPart, RunsOnManyThreads)
{
    std::atomic<int> inside{0};
    std::atomic<bool> gone{false};
    std::atomic<int> late{0};
    std::function<void()> work = [&] {
        ++inside;
        std::this_thread::sleep_for(std::chrono::microseconds(50));
        late += gone;
        --inside;
    };
    CallbackWithFields c;
    std::atomic<bool> stop{false};
    std::vector<std::thread> runners;
    for (int i = 0; i < 4; ++i) {
        runners.emplace_back([&] {
            while (!stop) {
                c.Run();
            }
        });
    }
    for (int round = 0; round < 200; ++round) {
        gone = false;
        c.callback.Set({&CallbackWithFields::Call, &work});
        std::this_thread::yield();
        EXPECT_TRUE(c.callback.Forget());
        gone = true;
        EXPECT_EQ(inside, 0);
    }
    stop = true;
    for (std::thread& runner : runners) {
        runner.join();
    }
    EXPECT_EQ(late, 0);
}

TEST(PlayerCallbackPart, DescribesAnyRectangle)
{
    constexpr int Lowest = std::numeric_limits<int>::min();
    constexpr int Highest = std::numeric_limits<int>::max();
    const struct {
        tagQRECT rect;
        int width, height;
    } cases[] = {{{0, 0, 800, 600}, 800, 600},
                 {{10, 20, 4, 5}, 6, 15},
                 {{0, 0, -1, -1}, 1, 1},
                 {{Lowest, Highest, Highest, Lowest}, Highest, Highest}};
    int renderer = 0;
    for (const auto& c : cases) {
        const __tagQDrawCallbackInfo info = DescribePicture(9, c.rect, nullptr, &renderer);
        EXPECT_EQ(info.iDstWidth, c.width);
        EXPECT_EQ(info.iDstHeight, c.height);
        EXPECT_EQ(info.left, c.rect.left);
        EXPECT_EQ(info.uiFrameParam, 9u);
        EXPECT_EQ(info.pRender, &renderer);
    }
}

int retired = 0;

// Something that lives as a renderer does.
struct Living {
    Living() { AddLiveRenderer(this); }
    ~Living() { RetireLiveRenderer(this); }
    Living(const Living&) = delete;
    Living& operator=(const Living&) = delete;
};

TEST(LiveRenderersPart, UsesUntilTheEnd)
{
    int nothing = 0;
    EXPECT_FALSE(RendererUse(nullptr));
    EXPECT_FALSE(RendererUse(&nothing));
    SetRetireHandler(&nothing, [](void*) { ++retired; });
    RetireLiveRenderer(&nothing);
    EXPECT_EQ(retired, 0) << "not listed";
    {
        const Living living;
        SetRetireHandler(&living, [](void* which) {
            EXPECT_FALSE(RendererUse(which));
            ++retired;
        });
        const RendererUse use(&living);
        EXPECT_TRUE(use);
        EXPECT_EQ(use.Retire(), RendererUse::Retired::Yes);
        EXPECT_FALSE(RendererUse(&living));
        EXPECT_EQ(use.Retire(), RendererUse::Retired::ByAnother);
        use.Revive();
        EXPECT_TRUE(RendererUse(&living)) << "taken back";
        EXPECT_EQ(use.Retire(), RendererUse::Retired::Yes);
    }
    EXPECT_EQ(retired, 1);
    RetireLiveRenderer(&nothing);
    AddLiveRenderer(&nothing); // at an address that was used before
    EXPECT_TRUE(RendererUse(&nothing));
    RetireLiveRenderer(&nothing);
    EXPECT_EQ(retired, 1);
}

// Calls are in flight on another thread. Who ends the renderer waits for them, and only from inside a draw
// callback not for ever.
TEST(LiveRenderersPart, TheEndWaitsForCallsInFlight)
{
    for (const bool inCallback : {false, true}) {
        SCOPED_TRACE(inCallback);
        Living living;
        Signal isIn;
        Signal leave;
        HostThread caller([&] {
            const RendererUse use(&living);
            isIn.Set();
            leave.Wait();
        });
        ASSERT_TRUE(isIn.Wait());
        Signal over;
        RendererUse::Retired result{};
        HostThread releaser([&] {
            std::optional<DrawCallbackScope> scope;
            if (inCallback) {
                scope.emplace(&over, 1);
            }
            const RendererUse use(&living);
            result = use.Retire();
            over.Set();
        });
        EXPECT_FALSE(over.Wait(200));
        EXPECT_FALSE(RendererUse(&living)) << "refused while the release waits";
        if (inCallback) {
            EXPECT_TRUE(over.Wait(3000));
            EXPECT_TRUE(RendererUse(&living)) << "as welcome as before";
        }
        leave.Set();
        releaser.Finish();
        EXPECT_EQ(result, inCallback ? RendererUse::Retired::No : RendererUse::Retired::Yes);
        caller.Finish();
    }
}

// A release that gives up must not open a renderer that is being destroyed meanwhile, nor hide from its
// destructor that the last call is over.
TEST(LiveRenderersPart, AReleaseGivesUpDuringTheDestruction)
{
    auto living = std::make_unique<Living>();
    const void* const address = living.get();
    Signal isIn;
    Signal leave;
    HostThread caller([&] {
        const RendererUse use(address);
        isIn.Set();
        leave.Wait();
    });
    ASSERT_TRUE(isIn.Wait());
    Signal retiring;
    Signal gaveUp;
    HostThread releaser([&] {
        const DrawCallbackScope scope(&retiring, 1);
        const RendererUse use(address);
        retiring.Set();
        EXPECT_EQ(use.Retire(), RendererUse::Retired::No);
        gaveUp.Set();
    });
    ASSERT_TRUE(retiring.Wait());
    ASSERT_TRUE(WaitUntil([&] { return !RendererUse(address); }));
    HostThread destroyer([&] { living.reset(); });
    EXPECT_TRUE(gaveUp.Wait(3000));
    EXPECT_FALSE(RendererUse(address)) << "it is being destroyed";
    leave.Set();
    EXPECT_TRUE(destroyer.done.Wait()) << "the destructor does not hear that the calls are over";
}

TEST(LiveRenderersPart, ScopesOfCallbacks)
{
    int a = 0;
    int b = 0;
    EXPECT_FALSE(IsInsideDrawCallback(&a) || WaitLimit());
    {
        const DrawCallbackScope outer(&a, 1);
        const DrawCallbackScope middle(&b, 7);
        const DrawCallbackScope inner(&a, 2);
        EXPECT_TRUE(IsInsideDrawCallback(&a) && IsInsideDrawCallback(&b));
        EXPECT_FALSE(IsInsideDrawCallback(nullptr) || IsInsideDrawCallback(&outer));
        EXPECT_EQ(DrawCallbackScope::RunOf(&a), 2u) << "the innermost";
        EXPECT_EQ(DrawCallbackScope::RunOf(&b), 7u);
        EXPECT_EQ(WaitLimit(), 500ms);
        std::thread([&] { EXPECT_FALSE(IsInsideDrawCallback(&a) || WaitLimit()); }).join();
    }
    EXPECT_EQ(DrawCallbackScope::RunOf(&a), std::nullopt);
}

TEST(LiveRenderersPart, RecordsForWhomItMayConcern)
{
    int stored = 0;
    const auto store = [&] { return ++stored, 3; };
    int gone = 0;
    EXPECT_EQ(SinkRecord(nullptr, store), -1);
    EXPECT_EQ(SinkRecord(&gone, store), -1);
    EXPECT_EQ(stored, 0);
    const Living living;
    EXPECT_EQ(SinkRecord(&living, store), 3);
    EXPECT_EQ(SinkRecord(&living, []() -> int { throw std::bad_alloc(); }), -1);
    const RendererUse use(&living);
    EXPECT_EQ(use.Retire(), RendererUse::Retired::Yes);
    EXPECT_EQ(SinkRecord(&living, store), -1) << "records for a renderer that goes";
    const DrawCallbackScope scope(&living, 1);
    EXPECT_EQ(SinkRecord(&living, store), 3) << "its callback is still under way";
}

} // namespace
