// Ends of processes: each case is a child with a host of its own, which must end with 0.
#include "Harness.h"
#include "Lender.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

using namespace OvelTest;

namespace
{

// Frames that go on whatever becomes of the application.
struct UntiringHost {
    std::vector<RenderWindow*> windows;
    std::vector<void*> handles;
    std::vector<std::thread> feeders;
    std::atomic<bool> stop{false};
    Lender lender;

    void Feed(void* handle)
    {
        handles.push_back(handle);
        feeders.emplace_back([this, handle] {
            Frame frame(MakePicture(16, 16), Nv12);
            while (!stop) {
                frame.Feed(handle);
                lender.Lend(handle, Loan(MakePicture(16, 16), Nv12));
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }
    void Join()
    {
        stop = true;
        for (std::thread& feeder : feeders) {
            feeder.join();
        }
    }
};
UntiringHost* host = nullptr;

void ExpectAtExit(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "FAILED: %s\n", what);
        _exit(1);
    }
}

// Two windows that nobody releases while the application lives; the overlay callback stays set.
void StartUntiringHost()
{
    host = new UntiringHost;
    static OverlaySource source;
    source.records = {Label("text", {0, 0, 50, 20})};
    for (const int type : {OVEL_RENDER_FULL, OVEL_RENDER_SUB_IMAGE}) {
        auto* window = new RenderWindow(type);
        host->windows.push_back(window);
        source.Attach(window->handle);
        ASSERT_TRUE(window->Show(MakePicture(16, 16), Yv12));
        window->renderer->removeEventFilter(window->paints.get());
        window->Set(OVELCMD_SET_DRAW_CALLBACK, tagOvelDrawCallback{});
        host->Feed(window->handle);
    }
}

TEST(Child, DISABLED_QuitWithRenderersAlive)
{
    StartUntiringHost();
    std::atexit([] {
        host->Join();
        ExpectAtExit(host->lender.Out() <= 2, "one lent frame for each renderer that is left");
    });
}

TEST(Child, DISABLED_ReleaseAfterTheApplication)
{
    StartUntiringHost();
    std::atexit([] {
        for (void* handle : host->handles) {
            ExpectAtExit(Ovel_Release(handle) == 0, "release");
        }
        host->Join();
        ExpectAtExit(Frame(MakePicture(8, 8), Yv12).Feed(host->handles[0]) == -1, "dead afterwards");
        ExpectAtExit(host->lender.Out() == 0, "every lent frame is back");
        ExpectAtExit(Ovel_Create(nullptr) == nullptr, "no renderer without an application");
    });
}

TEST(Child, DISABLED_QuitWithAReleaseOnItsWay)
{
    StartUntiringHost();
    for (void* handle : host->handles) {
        EXPECT_EQ(Ovel_Release(handle), 0); // deleted by no event loop
    }
    host->Join();
    EXPECT_EQ(host->lender.Out(), 0);
}

class Ending : public ::testing::TestWithParam<const char*>
{
};

TEST_P(Ending, IsQuiet)
{
    char program[4096] = {};
    ASSERT_GT(readlink("/proc/self/exe", program, sizeof(program) - 1), 0);
    const std::string command =
        std::string(program) + " --gtest_also_run_disabled_tests --gtest_filter=Child.DISABLED_" + GetParam();
    EXPECT_EQ(std::system(command.c_str()), 0);
}
INSTANTIATE_TEST_SUITE_P(Children, Ending,
                         ::testing::Values("QuitWithRenderersAlive", "ReleaseAfterTheApplication",
                                           "QuitWithAReleaseOnItsWay"),
                         [](const auto& ending) { return std::string(ending.param); });

} // namespace
