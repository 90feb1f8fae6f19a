// Text labels: what they show, where, under which parent, and that unchanged ones cost nothing.
#include "Harness.h"

#include <QApplication>
#include <QLabel>
#include <QPaintEvent>

#include <mutex>
#include <optional>
#include <thread>

using namespace OvelTest;

namespace
{

using Strings = std::vector<std::string>;

// One below the other.
Records Labels(const Strings& texts)
{
    Records records;
    for (const std::string& text : texts) {
        const int top = 20 + 40 * static_cast<int>(records.size());
        records.push_back(Label(text.c_str(), {0, top, 150, top + 20}, 0xFF));
    }
    return records;
}

class LabelTest : public ShownRenderer
{
protected:
    LabelTest() : ShownRenderer(QSize(200, 160)) { source.Attach(window.handle); }

    bool Show(const Records& records)
    {
        source.records = records;
        const bool shown = window.Show(picture, Yv12);
        RunEvents(); // labels change outside paints, at the latest now
        return shown;
    }
    QLabel* Slot(int index) { return window.renderer->m_pLabel[index]; }
    Strings Texts()
    {
        Strings texts;
        for (int i = 0; i < OVEL_LABELS && Slot(i); ++i) {
            texts.push_back(Slot(i)->text().toStdString());
        }
        return texts;
    }
    int SetParent(QWidget* parent)
    {
        return Ovel_SetParam(window.handle, OVELCMD_SET_LABEL_PARENT, parent, 1);
    }
    void Clear(bool otherThread)
    {
        const auto clear = [this] { Ovel_ClearDraw(window.handle); };
        otherThread ? std::thread(clear).join() : clear();
    }
    // Pixels that letters colour.
    static int LitPixels(const QImage& image, int red, int green)
    {
        int count = 0;
        for (int i = 0; i < image.width() * image.height(); ++i) {
            const QColor shown = image.pixelColor(i % image.width(), i / image.width());
            count += std::abs(shown.red() - red) < 40 && std::abs(shown.green() - green) < 40;
        }
        return count;
    }

    const Picture picture = MakePicture(32, 24);
};
OVEL_FOR_BOTH_RENDERERS(LabelTest);

// A host's own widget for labels.
class Panel : public QWidget
{
public:
    Panel()
    {
        setGeometry(300, 40, 200, 160);
        show();
    }
    void paintEvent(QPaintEvent* event) override
    {
        whole += event->region().boundingRect() == rect();
        if (action) {
            action();
        }
    }
    int whole = 0; // paints
    std::function<void()> action;
};

TEST_P(LabelTest, OneLabelInFull)
{
    ASSERT_TRUE(Show({Label("HHHH", {20, 40, 140, 70}, 0x30FF00, 17)}));
    QLabel* label = Slot(0);
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->parentWidget(), window.renderer);
    EXPECT_EQ(label->geometry(), QRect(20, 29, 120, 52));
    EXPECT_EQ(label->text(), QString("HHHH"));
    EXPECT_EQ(label->font().pointSize(), 17);
    EXPECT_EQ(label->styleSheet(), QString("color: rgb(0, 255, 48);background-color: rgb(0, 0, 0);"));
    EXPECT_EQ(label->alignment(), Qt::AlignVCenter);
    EXPECT_EQ(label->textFormat(), Qt::AutoText);
    EXPECT_TRUE(label->testAttribute(Qt::WA_TransparentForMouseEvents));
    EXPECT_TRUE(label->testAttribute(Qt::WA_TranslucentBackground));
    EXPECT_TRUE(label->isVisible());
    EXPECT_GT(LitPixels(window.top->grab(label->geometry()).toImage(), 0, 255), 50) << "green letters";
    EXPECT_TRUE(WaitUntil([&] { return LitPixels(window.Screen(), 0, 255) > 50; })) << "and on the screen";

    // Everything changes, the label stays the same one.
    ASSERT_TRUE(Show({Label("<b>x</b>", {10, -5, 110, 20}, 0xFF, 0)}));
    EXPECT_EQ(Slot(0), label);
    EXPECT_EQ(label->geometry(), QRect(10, -11, 100, 47));
    EXPECT_EQ(label->font().pointSize(), 50);
    EXPECT_EQ(label->text(), QString("<b>x</b>"));
    EXPECT_EQ(window.renderer->m_vecDrawGraphInfo[0].stPoint[0].y, 0)
        << "a top above the widget is written back";
    EXPECT_EQ(window.renderer->m_vecDrawGraphInfo[0].stPoint[1].y, 25);
    qtDebugLines.Take();
    ASSERT_TRUE(window.Repaint());
    RunEvents();
    EXPECT_EQ(qtDebugLines.Take(), Strings{"default: CLS_ShaderBase::AddLabel Error:iFontSize <= 0"});
    auto record = Label("by hand", {0, 80, 90, 100});
    for (const int slot : {-1, int(OVEL_LABELS), OVEL_LABELS - 1}) {
        window.renderer->AddLabel(slot, &record);
    }
    ASSERT_NE(Slot(OVEL_LABELS - 1), nullptr);
    EXPECT_EQ(Slot(OVEL_LABELS - 1)->text(), QString("by hand"));
}

TEST_P(LabelTest, Encodings)
{
    struct Case {
        std::string bytes;
        int code;
        QString text;
    };
    const QString chinese = QString::fromUtf8("\xE4\xB8\xAD\xE6\x96\x87");
    const std::string filled(136, 'a');
    const Case cases[] = {{"\xD6\xD0\xCE\xC4", OVEL_TEXT_GBK, chinese},
                          {"\xE4\xB8\xAD\xE6\x96\x87", OVEL_TEXT_UTF8, chinese},
                          {"caf\xC3\xA9", 0, QString::fromLocal8Bit("caf\xC3\xA9")},
                          {filled, OVEL_TEXT_UTF8, QString(136, 'a')},
                          {filled, 0, QString(136, 'a')}};
    for (const Case& c : cases) {
        ASSERT_TRUE(Show({Label(c.bytes.c_str(), {0, 20, 190, 60}, 0xFFFFFF, 9, c.code)}));
        EXPECT_EQ(Slot(0)->text(), c.text) << c.bytes << " " << c.code;
    }
    // A character cut by the end of the field costs no other one.
    for (const int code : {OVEL_TEXT_UTF8, OVEL_TEXT_GBK}) {
        const std::string cut = filled.substr(0, 135) + (code == OVEL_TEXT_GBK ? "\xD6" : "\xE4");
        ASSERT_TRUE(
            Show({Label(cut.c_str(), {0, 20, 190, 60}, 0xFFFFFF, 9, code), Label("next", {0, 80, 90, 100})}));
        EXPECT_EQ(Slot(1)->text().left(135), QString(135, 'a'));
        EXPECT_EQ(Slot(0)->text(), QString("next"));
    }
}

TEST_P(LabelTest, SlotsFollowTheOrderOfArrival)
{
    auto onePoint = Label("uses its slot only", {0, 0, 50, 20});
    onePoint.iPointNum = 1;
    ASSERT_TRUE(Show({Label("first", {0, 0, 50, 20}), Graph(OVEL_GRAPH_POLYLINE, 0xFF, 3, {{1, 1}, {9, 9}}),
                      Label("", {0, 0, 50, 20}), Label("second", {0, 30, 50, 50}), onePoint,
                      Label("third", {0, 60, 50, 80})}));
    ASSERT_NE(Slot(3), nullptr);
    EXPECT_TRUE(Slot(1) == nullptr || Slot(1)->text().isEmpty());
    EXPECT_EQ(Slot(0)->text() + Slot(2)->text() + Slot(3)->text(), "thirdsecondfirst");
    ASSERT_TRUE(Show({Label("only", {5, 5, 60, 25})}));
    EXPECT_EQ(Slot(0)->text(), QString("only"));
    EXPECT_EQ(Slot(2)->text(), QString()) << "emptied";
    EXPECT_EQ(Slot(2)->geometry(), QRect(0, 19, 50, 42)) << "but not moved";

    Records fifty;
    for (int i = 0; i < 50; ++i) {
        fifty.push_back(Label(std::to_string(i).c_str(), {0, 3 * i, 30, 3 * i + 10}));
    }
    ASSERT_TRUE(Show(fifty));
    Strings latest;
    for (int i = 49; i > 1; --i) {
        latest.push_back(std::to_string(i));
    }
    EXPECT_EQ(Texts(), latest);
}

TEST_P(LabelTest, ClearDrawEmptiesThem)
{
    for (const int keep : {1, 0}) {
        for (const bool otherThread : {false, true}) {
            source.Attach(window.handle);
            window.Set(OVELCMD_SET_STOPDRAW_PARA, keep);
            ASSERT_TRUE(Show(Labels({"a", "b"})));
            ASSERT_EQ(Texts(), (Strings{"b", "a"}));
            window.renderer->hide(); // no paint does it
            // As while the next frame is being taken.
            std::unique_lock<QMutex> taking;
            if (otherThread && keep) {
                taking = std::unique_lock<QMutex>(window.renderer->m_mutexYuvBuf);
            }
            Clear(otherThread);
            const auto empty = [&] { return Texts() == Strings{"", ""}; };
            // On the GUI thread they are empty at once.
            EXPECT_TRUE(otherThread ? WaitUntil(empty, 1000) : empty()) << keep << otherThread;
            taking = {};
            window.renderer->show();
        }
    }
}

// What ClearDraw has still to do on the GUI thread does not touch the labels of the next frame.
TEST_P(LabelTest, ClearDrawElsewhereSparesTheNextFrame)
{
    for (const int keep : {1, 0}) {
        for (const bool painted : {false, true}) {
            SCOPED_TRACE(testing::Message() << "keep " << keep << ", painted first " << painted);
            source.Attach(window.handle);
            window.Set(OVELCMD_SET_STOPDRAW_PARA, keep);
            ASSERT_TRUE(Show(Labels({"before", "gone"})));
            source.records = Labels({"after"});
            std::thread([this] {
                Ovel_ClearDraw(window.handle);
                source.Attach(window.handle);
                EXPECT_EQ(Frame(picture, Yv12).Feed(window.handle), 0);
            }).join();
            if (painted) { // before anything that was posted
                static_cast<void>(window.Framebuffer());
            }
            RunEventsFor(30);
            EXPECT_EQ(Texts(), (Strings{"after", ""}));
        }
    }
}

// Addresses are used again: a dialog on the stack that opens three times, panels on the heap.
TEST_P(LabelTest, ParentsComeAndGo)
{
    std::optional<Panel> panel;
    const auto showsAtHome = [&] {
        ASSERT_TRUE(Show(Labels({"home"})));
        ASSERT_NE(Slot(0), nullptr);
        EXPECT_EQ(Slot(0)->parentWidget(), window.renderer);
    };
    showsAtHome();
    for (int opened = 0; opened < 4; ++opened) {
        SCOPED_TRACE(opened);
        panel.emplace();
        EXPECT_EQ(SetParent(&*panel), 0);
        const std::string text = "HH" + std::to_string(opened);
        ASSERT_TRUE(Show(Labels({text})));
        ASSERT_NE(Slot(0), nullptr);
        EXPECT_EQ(Slot(0)->parentWidget(), &*panel) << "labels move to a new parent";
        EXPECT_TRUE(window.renderer->findChildren<QLabel*>().isEmpty()) << "and leave the old one";
        EXPECT_EQ(Texts(), Strings{text});
        EXPECT_GT(LitPixels(panel->grab().toImage(), 255, 0), 20);
        panel.reset();
        EXPECT_EQ(Slot(0), nullptr) << "the slot noticed";
        if (opened > 1) { // with a frame in between
            showsAtHome();
        }
    }
    panel.emplace(); // without the command it is another widget, whatever its address
    showsAtHome();
    EXPECT_EQ(SetParent(&*panel), 0);
    panel.reset();
    showsAtHome(); // never seen alive
    Clear(true);
    RunEvents();
}

// Where nothing but black is shown there are no labels either, however texts come into the list.
TEST_P(LabelTest, NoLabelsWithoutAPicture)
{
    const auto resize = [this] { window.top->resize(window.top->width() == 180 ? 200 : 180, 160); };
    const auto zoom = [this] { window.Set(OVELCMD_SET_EZOOM_AREA, tagOvelZoomArea{0, 0, 1, 1}); };
    const std::function<void()> acts[] = {resize, zoom, [&] { std::thread(zoom).join(); }};
    source.records = Labels({"over black"});
    for (const bool fresh : {true, false}) {
        for (const auto& act : acts) {
            SCOPED_TRACE(testing::Message() << "act " << &act - acts << (fresh ? ", no frame" : ", a stop"));
            if (!fresh) {
                ASSERT_TRUE(Show(Labels({"over black"})));
                EXPECT_EQ(Texts(), Strings{"over black"});
                Clear(false);
                RunEvents();
                source.Attach(window.handle);
            }
            ASSERT_EQ(window.renderer->m_nDisplayType, -1);
            resize(); // the callback fills the list
            RunEvents();
            act();
            RunEventsFor(40);
            EXPECT_EQ(Texts(), fresh ? Strings{} : Strings{""});
        }
    }
    ASSERT_TRUE(Show(Labels({"over black"})));
    Frame black(picture, Yv12);
    black.info.iDisplayType = -1;
    ASSERT_TRUE(window.Show(std::move(black)));
    RunEvents();
    EXPECT_EQ(Texts(), Strings{""});
}

// A pass fills what the host emptied, and follows the application's font.
TEST_P(LabelTest, EveryPassFillsAnew)
{
    const QFont before = QApplication::font();
    for (const bool byPaint : {false, true}) {
        SCOPED_TRACE(byPaint);
        const auto pass = [&] { byPaint ? void(window.Repaint()) : window.renderer->DrawTextInfo(); };
        ASSERT_TRUE(Show(Labels({"a", "b"})));
        window.renderer->ClearLabel();
        EXPECT_EQ(Texts(), (Strings{"", ""}));
        pass();
        __tagQDrawGraphInfo host = Label("host", {0, 0, 50, 20});
        window.renderer->AddLabel(1, &host);
        pass();
        EXPECT_EQ(Texts(), (Strings{"b", "a"}));
        QFont font = before;
        font.setItalic(true);
        font.setWeight(QFont::Black);
        QApplication::setFont(font);
        pass();
        EXPECT_TRUE(Slot(0)->font().italic());
        EXPECT_EQ(Slot(0)->font().weight(), QFont::Black);
        QApplication::setFont(before);
        pass();
        EXPECT_FALSE(Slot(1)->font().italic());
    }
}

// Labels are translucent: a panel of the host's is painted whole when they change, and not again without
// them.
TEST_P(LabelTest, LabelParentIsPaintedWhole)
{
    Panel panel;
    SetParent(&panel);
    RunEventsFor(50);
    const std::pair<Strings, bool> cases[] = {
        {{}, false}, {{"a"}, true}, {{"b"}, true}, {{}, true}, {{}, false}};
    for (const auto& [texts, painted] : cases) {
        panel.whole = 0;
        ASSERT_TRUE(Show(Labels(texts)));
        RunEventsFor(30);
        EXPECT_EQ(panel.whole > 0, painted);
    }
}

// The renderer's window as parent of its labels: the picture stays, and Qt does not complain about repaints
// in paints.
TEST_P(LabelTest, AncestorAsParent)
{
    SetParent(window.top.get());
    for (const char* text : {"one", "two", ""}) {
        ASSERT_TRUE(Show(Labels({text})));
        ASSERT_TRUE(window.Repaint());
        EXPECT_EQ(Texts(), Strings{text});
        EXPECT_TRUE(window.Shows(picture, Yv12));
    }
}

TEST_P(LabelTest, ReleaseTakesLabelsAlong)
{
    Panel panel;
    {
        RenderWindow second(GetParam());
        Ovel_SetParam(second.handle, OVELCMD_SET_LABEL_PARENT, &panel, 1);
        source.records = Labels({"left behind"});
        source.Attach(second.handle);
        ASSERT_TRUE(second.Show(picture, Yv12));
        EXPECT_TRUE(WaitUntil([&] { return panel.findChild<QLabel*>() != nullptr; }));
    }
    EXPECT_EQ(panel.findChild<QLabel*>(), nullptr);
}

// In an event of a label that is being filled the host ends its renderer, and runs events there.
TEST_P(LabelTest, ReleasedInsideTheEventsOfALabel)
{
    struct Ender : QObject {
        bool eventFilter(QObject* receiver, QEvent* event) override
        {
            if (handle && event->type() == type && qobject_cast<QLabel*>(receiver)) {
                EXPECT_EQ(Ovel_Release(std::exchange(handle, nullptr)), 0);
                RunEventsFor(5);
            }
            return false;
        }
        void* handle = nullptr;
        QEvent::Type type = QEvent::None;
    } ender;
    source.records = Labels({"one"});
    qApp->installEventFilter(&ender);
    for (const QEvent::Type type : {QEvent::Move, QEvent::Resize, QEvent::FontChange, QEvent::StyleChange}) {
        RenderWindow second(GetParam());
        source.Attach(second.handle);
        ender.type = type;
        ender.handle = second.handle;
        EXPECT_EQ(Frame(picture, Yv12).Feed(second.handle), 0);
        EXPECT_TRUE(WaitUntil([&] { return !ender.handle; })) << type;
        EXPECT_TRUE(WaitUntil([&] { return !second.top->findChild<QOpenGLWidget*>(); })) << "and gone";
    }
}

// A host parent that feeds and pushes while it is painted must not lock itself up with the label pass.
TEST_P(LabelTest, ParentThatFeedsWhilePainting)
{
    Panel panel;
    SetParent(&panel);
    int left = 10;
    panel.action = [&] {
        if (left-- > 0) {
            source.records = Labels({std::to_string(left)});
            Frame(picture, Yv12).Feed(window.handle);
        }
    };
    panel.update();
    EXPECT_TRUE(WaitUntil([&] { return left <= 0 && Texts() == Strings{"0"}; }));
}

// Nothing is painted while nothing happens, and a frame paints once, whether its labels change or not.
TEST_P(LabelTest, LabelsCostNoPaintOfTheirOwn)
{
    Records records;
    for (int i = 0; i < 48; ++i) {
        records.push_back(Label(("label " + std::to_string(i)).c_str(),
                                {i % 6 * 32, i / 6 * 20, i % 6 * 32 + 30, i / 6 * 20 + 10}));
    }
    ASSERT_TRUE(Show(records));
    RunEventsFor(100);
    PaintCounter labelPaints(Slot(7));
    PaintCounter topPaints(window.top.get());
    window.paints->count = 0;
    RunEventsFor(300);
    EXPECT_EQ(window.paints->count, 0);
    EXPECT_EQ(topPaints.count, 0);
    EXPECT_EQ(labelPaints.count, 0);
    for (const char* text : {"same", "same", "other", "third", "third"}) {
        records[40] = Label(text, {64, 120, 94, 130});
        ASSERT_TRUE(Show(records));
        RunEventsFor(50);
        EXPECT_EQ(Slot(7)->text(), QString(text));
    }
    EXPECT_EQ(window.paints->count, 5) << "one paint for one frame";
}

} // namespace
