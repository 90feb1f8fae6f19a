// The board of labels over a plain widget.
#include "parts/LabelBoard.h"

#include "Harness.h"

#include <QApplication>
#include <QLabel>

#include <thread>

using namespace OvelTest;

namespace
{

struct BoardWithFields {
    QWidget home;
    QLabel* labels[OVEL_LABELS] = {};
    std::atomic<QWidget*> parent{nullptr};
    bool areShown = false;
    LabelBoard board{{labels, parent, areShown}, home};
    QVector<__tagQDrawGraphInfo> records;
    quint64 serial = 1;

    ~BoardWithFields() { board.Delete(); }
    // Whether the pass had anything to do.
    bool Pass()
    {
        const bool changes = board.Take(records, serial);
        board.FinishPass(changes);
        return changes;
    }
    bool Pass(const std::vector<__tagQDrawGraphInfo>& now)
    {
        records = QVector<__tagQDrawGraphInfo>(now.begin(), now.end());
        ++serial;
        return Pass();
    }
    std::string Text(int slot) const { return labels[slot] ? labels[slot]->text().toStdString() : "none"; }
};

TEST(LabelBoardPart, TouchesOnlyWhatChanged)
{
    BoardWithFields b;
    QWidget other;
    const QFont font = QApplication::font();
    struct Case {
        const char* name;
        bool changes;
        std::function<void()> act;
    };
    const Case cases[] = {
        {"nothing", false, [] {}},
        {"the list's serial", true, [&] { ++b.serial; }},
        {"the host emptied them", true, [&] { b.board.Clear(); }},
        {"the host deleted one", true, [&] { delete b.labels[0]; }},
        {"the host deleted all", true, [&] { b.board.Delete(); }},
        {"the picture went", true, [&] { b.board.Hide(); }},
        {"another parent", true, [&] { b.board.SetParent(&other); }},
        {"the same parent again", true, [&] { b.board.SetParent(&other); }},
        {"none again", true, [&] { b.board.SetParent(nullptr); }},
        {"the application's font", true,
         [&] {
             QFont italic = font;
             italic.setItalic(!QApplication::font().italic());
             QApplication::setFont(italic);
         }},
    };
    b.Pass({Label("first", {0, 20, 90, 40}), Label("second", {0, 60, 90, 80})});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_FALSE(b.Pass());
        c.act();
        EXPECT_EQ(b.board.IsInUse(), true);
        EXPECT_EQ(b.Pass(), c.changes);
        EXPECT_EQ(b.Text(0), "second");
        EXPECT_EQ(b.Text(1), "first");
        EXPECT_EQ(b.labels[0]->font().italic(), QApplication::font().italic());
        EXPECT_TRUE(b.areShown);
    }
    QApplication::setFont(font);
    EXPECT_TRUE(b.Pass({}));
    EXPECT_EQ(b.Text(0), "");
    EXPECT_FALSE(b.areShown || b.board.IsInUse());
    b.board.Hide();
    EXPECT_FALSE(b.Pass()) << "there was nothing to hide";
}

// The parent that was named last counts.
TEST(LabelBoardPart, ParentsFromOtherThreads)
{
    BoardWithFields b;
    QWidget panels[2];
    std::atomic<bool> stop{false};
    std::thread host([&] {
        for (size_t i = 0; !stop; ++i) {
            b.board.SetParent(&panels[i % 2]);
        }
        b.board.SetParent(&panels[1]);
    });
    for (int i = 0; i < 200; ++i) {
        b.Pass({Label(std::to_string(i).c_str(), {0, 20, 90, 40})});
        ASSERT_EQ(b.Text(0), std::to_string(i));
    }
    stop = true;
    host.join();
    EXPECT_TRUE(b.Pass());
    EXPECT_EQ(b.labels[0]->parentWidget(), &panels[1]);
    b.board.Delete();
}

// The list may be emptied and filled by what the labels' own events run.
TEST(LabelBoardPart, PassesInsideAPass)
{
    class Nesting : public QObject
    {
    public:
        std::function<void()> act;
        bool eventFilter(QObject*, QEvent* event) override
        {
            if (event->type() == QEvent::Resize && act) {
                std::exchange(act, nullptr)();
            }
            return false;
        }
    };
    for (const size_t texts : {size_t{0}, size_t{1}, size_t{2}, size_t{40}}) {
        BoardWithFields b;
        Nesting nesting;
        b.Pass({Label("a", {0, 20, 90, 40}), Label("b", {0, 60, 90, 80})});
        b.labels[0]->installEventFilter(&nesting);
        std::vector<__tagQDrawGraphInfo> inner(texts, Label("inner", {0, 20, 33, 40}));
        nesting.act = [&] { b.Pass(inner); };
        b.Pass({Label("c", {0, 20, 70, 40}), Label("d", {0, 60, 70, 80})});
        b.labels[0]->removeEventFilter(&nesting);
        b.Pass({Label("e", {0, 20, 70, 40})});
        EXPECT_EQ(b.Text(0), "e");
        for (int slot = 1; slot < OVEL_LABELS && b.labels[slot]; ++slot) {
            EXPECT_EQ(b.Text(slot), "") << slot;
        }
    }
}

} // namespace
