// The board of labels over a plain widget.
#include "parts/LabelBoard.h"

#include "Harness.h"

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

} // namespace
