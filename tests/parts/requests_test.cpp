// Repaints that any thread asks for: each is done once and none is lost, whatever becomes of events and
// requests.
#include "parts/RepaintRequest.h"

#include "ScriptedHost.h"

#include <QApplication>

using namespace OvelTest;

namespace
{

void SendElsewhere(RepaintRequest& request)
{
    std::thread([&] { request.Send(); }).join();
}

TEST(RepaintRequestPart, OnceHoweverOften)
{
    int done = 0;
    RepaintRequest request([&] {
        EXPECT_TRUE(OnGuiThread());
        ++done;
    });
    EXPECT_TRUE(request.IsGuiThread());
    for (const bool elsewhere : {true, false, true}) {
        for (int i = 0; i < 5; ++i) {
            elsewhere ? SendElsewhere(request) : request.Send();
        }
        EXPECT_EQ(done, 0) << "later, not from inside";
        EXPECT_TRUE(WaitUntil([&] { return done > 0; }));
        RunEventsFor(10);
        EXPECT_EQ(std::exchange(done, 0), 1);
    }
    SendElsewhere(request);
    request.OnBell();
    request.OnBell();
    RunEventsFor(10);
    EXPECT_EQ(done, 1) << "delivered by hand";
}

// Works that end requests, make new ones or ask again. Nobody who is left is left out.
TEST(RepaintRequestPart, RequestsThatComeAndGoDuringDelivery)
{
    constexpr size_t Count = 4;
    for (size_t asked = 0; asked < Count; ++asked) {
        for (unsigned going = 0; going < 1u << Count; ++going) {
            if (going >> asked & 1) {
                continue; // its own end is the widget's
            }
            SCOPED_TRACE(testing::Message() << "those of mask " << going << " go when " << asked << " works");
            std::vector<std::unique_ptr<RepaintRequest>> requests;
            std::vector<int> done(Count + 1, 0);
            bool once = false;
            for (size_t i = 0; i < Count; ++i) {
                requests.push_back(std::make_unique<RepaintRequest>([&, i] {
                    if (++done[i], i != asked || std::exchange(once, true)) {
                        return;
                    }
                    for (size_t other = 0; other < Count; ++other) {
                        if (going >> other & 1) {
                            requests[other].reset();
                        }
                    }
                    if (going != 0) {
                        return; // to ask again would answer those who were left out, too
                    }
                    requests.push_back(std::make_unique<RepaintRequest>([&] { ++done[Count]; }));
                    SendElsewhere(*requests.back());
                    SendElsewhere(*requests[asked]);
                }));
            }
            for (const auto& request : requests) {
                SendElsewhere(*request);
            }
            RunEventsFor(5);
            for (size_t i = 0; i < Count; ++i) {
                EXPECT_TRUE(!requests[i] || done[i] == (i == asked && going == 0 ? 2 : 1))
                    << i << ": " << done[i];
            }
            EXPECT_EQ(done[Count], going == 0);
        }
    }
    int late = 0;
    auto request = std::make_unique<RepaintRequest>([&] { ++late; });
    SendElsewhere(*request);
    request->Send();
    request.reset();
    RunEventsFor(10);
    EXPECT_EQ(late, 0) << "requests on their way go with their owner";
}

} // namespace
