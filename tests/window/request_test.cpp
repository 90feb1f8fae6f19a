// A new frame asks for its repaint on the feeding thread, and the GUI thread paints it, whatever the host
// does with its event queue, its signals or its windows in between.
#include "ScriptedHost.h"

#include <QApplication>

using namespace OvelTest;

namespace
{

class EventEater : public QObject
{
public:
    explicit EventEater(std::function<bool(QObject*, QEvent*)> what) : eats(std::move(what)) {}
    bool eventFilter(QObject* receiver, QEvent* event) override { return eats(receiver, event); }

private:
    std::function<bool(QObject*, QEvent*)> eats;
};

bool IsRequest(const QEvent* event)
{
    return event->type() >= QEvent::User || event->type() == QEvent::MetaCall;
}

void FeedElsewhere(void* handle, const Picture& picture)
{
    std::thread([&] { EXPECT_EQ(Frame(picture, Yv12).Feed(handle), 0); }).join();
}

// Nobody asks for a paint but the frame itself.
void ExpectShownByItself(RenderWindow& window, const Picture& picture)
{
    FeedElsewhere(window.handle, picture);
    const int before = window.paints->count;
    EXPECT_TRUE(WaitUntil([&] { return window.paints->count > before; }, 1000)) << "the window is frozen";
    EXPECT_TRUE(window.Shows(picture, Yv12));
}

class RequestTest : public BothRenderers
{
};
OVEL_FOR_BOTH_RENDERERS(RequestTest);

TEST_P(RequestTest, LostRequestsFreezeNothing)
{
    const auto eat = [](QObject* filtered, RenderWindow& window, bool all) {
        EventEater eater([&](QObject* receiver, QEvent* event) {
            return receiver == window.renderer && (all || IsRequest(event));
        });
        filtered->installEventFilter(&eater);
        RunEventsFor(20);
    };
    struct Case {
        const char* name;
        bool alsoFromGui;
        std::function<void(RenderWindow&)> lose;
    };
    const Case cases[] = {
        {"a filter of the application eats it", true, [&](RenderWindow& w) { eat(qApp, w, false); }},
        {"a filter of the widget eats it", true, [&](RenderWindow& w) { eat(w.renderer, w, false); }},
        {"a filter of the widget eats everything", true, [&](RenderWindow& w) { eat(w.renderer, w, true); }},
        {"removed from the queue", true,
         [](RenderWindow& w) { QCoreApplication::removePostedEvents(w.renderer); }},
        {"the queue is emptied", false, // on the GUI thread Qt's own requests would be lost with ours
         [](RenderWindow&) { QCoreApplication::removePostedEvents(nullptr); }}};
    OverlaySource source;
    source.records = {Label("text", {500, 20, 590, 40})};
    const Picture picture = MakePicture(32, 24, 2);
    for (const Case& c : cases) {
        for (const int variant : {0, 1, 2, 3}) {
            const bool texts = variant & 1;
            const bool fromGui = variant & 2;
            if (fromGui && !c.alsoFromGui) {
                continue;
            }
            SCOPED_TRACE(testing::Message() << c.name << ", texts " << texts << ", from the GUI " << fromGui);
            RenderWindow window(GetParam());
            if (texts) {
                source.Attach(window.handle);
            }
            ExpectShownByItself(window, MakePicture(32, 24, 1));
            RunEventsFor(20);
            if (fromGui) {
                EXPECT_EQ(Frame(picture, Yv12).Feed(window.handle), 0);
            } else {
                FeedElsewhere(window.handle, picture);
            }
            c.lose(window);
            RunEventsFor(20);
            ExpectShownByItself(window, MakePicture(32, 24, 3));
        }
    }
}

// The repaint is a signal's: who blocks the signals gets none.
TEST_P(RequestTest, BlockedSignalsAskForNoRepaint)
{
    RenderWindow window(GetParam());
    const Picture pictures[] = {MakePicture(32, 24, 1), MakePicture(32, 24, 2)};
    ASSERT_TRUE(window.Show(pictures[0], Yv12));
    RunEventsFor(30);
    window.paints->count = 0;
    window.renderer->blockSignals(true);
    FeedElsewhere(window.handle, pictures[1]);
    EXPECT_EQ(Frame(pictures[1], Yv12).Feed(window.handle), 0);
    window.Set(OVELCMD_SET_EZOOM_AREA, tagOvelZoomArea{0, 0, 1, 1});
    RunEventsFor(100);
    EXPECT_EQ(window.paints->count, 0);
    window.renderer->blockSignals(false);
    ExpectShownByItself(window, pictures[0]);
}

} // namespace
