// Parts that say who is inside a renderer or its draw callback, who comes next, and wait for them.
#include "parts/CallTurn.h"
#include "parts/PlayerCallback.h"

#include "ScriptedHost.h"

#include <stdexcept>

using namespace OvelTest;

namespace
{

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

// Who waits without limit has the turn: a call that comes later gives up, though it asks for another mutex.
TEST(CallTurnPart, WhoWaitsGoesFirst)
{
    using namespace std::chrono_literals;
    CallTurn turn;
    QMutex busy, other;
    busy.lock();
    HostThread waiter([&] {
        EXPECT_TRUE(turn.Lock(busy, std::nullopt));
        busy.unlock();
    });
    const auto isTaken = [&] {
        const bool had = turn.Lock(other, 20ms);
        had ? other.unlock() : void();
        return !had;
    };
    EXPECT_TRUE(WaitUntil(isTaken));
    busy.unlock();
    waiter.Finish();
    EXPECT_FALSE(isTaken());
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

// A call that is inside a renderer until it is let go.
struct StayingCall {
    explicit StayingCall(const void* renderer)
        : caller([this, renderer] {
              const RendererUse use(renderer);
              isIn.Set();
              leave.Wait();
          })
    {
        EXPECT_TRUE(isIn.Wait());
    }
    Signal isIn;
    Signal leave;
    HostThread caller;
};

// A release on a thread of its own, inside another renderer's draw callback: it waits, but not for ever.
struct Release {
    explicit Release(const void* renderer)
        : thread([this, renderer] {
              const DrawCallbackScope scope(this, 1);
              const RendererUse use(renderer);
              result = use.Retire();
              over.Set();
          })
    {
    }
    Signal over;
    RendererUse::Retired result{};
    HostThread thread;
};

// A release that gives up must not open a renderer that is being destroyed meanwhile, nor hide from its
// destructor that the last call is over.
TEST(LiveRenderersPart, AReleaseGivesUpDuringTheDestruction)
{
    auto living = std::make_unique<Living>();
    const void* const address = living.get();
    StayingCall call(address);
    Release release(address);
    ASSERT_TRUE(WaitUntil([&] { return !RendererUse(address); }));
    HostThread destroyer([&] { living.reset(); });
    EXPECT_TRUE(release.over.Wait(3000));
    EXPECT_EQ(release.result, RendererUse::Retired::No);
    EXPECT_FALSE(RendererUse(address)) << "it is being destroyed";
    call.leave.Set();
    EXPECT_TRUE(destroyer.done.Wait()) << "the destructor does not hear that the calls are over";
}

} // namespace
