// The board of labels over a plain widget.
#include "parts/LabelBoard.h"

#include "Harness.h"

#include <QEvent>
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

// The parent that was named last counts, whenever it was named.
TEST(LabelBoardPart, ParentsFromOtherThreads)
{
    BoardWithFields b;
    QWidget panels[2];
    b.Pass({Label("text", {0, 20, 90, 40})});
    for (size_t round = 0; round < 1000; ++round) {
        std::atomic<bool> isOver{false};
        std::thread host([&] {
            b.board.SetParent(&panels[1 - round % 2]);
            for (std::atomic<size_t> i{0}; i < round % 100 * 20; ++i) { // during any part of the pass
            }
            b.board.SetParent(&panels[round % 2]);
            isOver = true;
        });
        while (!isOver) {
            b.Pass();
        }
        host.join();
        b.Pass();
        ASSERT_EQ(b.labels[0]->parentWidget(), &panels[round % 2]) << "round " << round;
    }
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
