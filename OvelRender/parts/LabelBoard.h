// The labels that show the text records of the overlay list. GUI thread, unless said otherwise.
#pragma once

#include "OvelInterface.h"

#include <QFont>
#include <QPointer>
#include <QString>
#include <QVector>
#include <QWidget>

#include <array>
#include <atomic>
#include <vector>

class QLabel;

// The fields that hold the labels.
struct LabelFields {
    QLabel* (&labels)[OVEL_LABELS];
    std::atomic<QWidget*>& parent; // as the host gave it: an address, not known to be alive
    bool& areShown;                // the last pass counted a text record
};

class LabelBoard
{
public:
    // Labels lie in `home` while there is no other parent.
    LabelBoard(const LabelFields& fields, QWidget& home) : m_fields(fields), m_home(home) {}
    LabelBoard(const LabelBoard&) = delete;
    LabelBoard& operator=(const LabelBoard&) = delete;

    // Any thread. Never followed before Qt says that such a widget lives.
    void SetParent(QWidget* parent);
    // What only the GUI thread can know; as soon after SetParent as it gets there.
    void FindParent();

    // A pass in two halves. The first takes the records of the list of this serial, whose lock the caller
    // holds; whether the labels have to follow. The second does so, without any lock: a host's widgets may
    // feed records from their own events.
    bool Take(QVector<__tagQDrawGraphInfo>& records, quint64 serial);
    void Show();
    // The second half with the warnings that every pass gives, whether the labels have to follow or not.
    void FinishPass(bool labelsChange);
    // Whether a label has a text, or may have one after the next pass over the same list.
    bool IsInUse() const { return m_fields.areShown || m_isStale; }

    // Nothing is shown until the next pass.
    void Hide();
    void ShowRecord(int slot, const __tagQDrawGraphInfo& record);
    void Clear();
    void Delete();
    // The next pass fills all labels, whether the list changed or not.
    void Outdate() { m_isStale = true; }
    // Whether a label is being changed further up this thread's calls: the events that this sends go through the
    // host's filters. Labels and their window must not go meanwhile.
    bool IsInside() const { return m_inside > 0; }

private:
    class Inside;
    // A label as it is shown, so that only what differs is touched.
    struct Shown {
        QRect geometry;
        quint32 color = 0;
        QFont font;
        QString text;
        bool isFresh = true;
    };

    void TakeRecord(__tagQDrawGraphInfo& record);
    QWidget* Parent() const;
    QLabel* LabelOf(int slot);
    void ClearSlot(int slot);
    void UpdateParent() const;

    const LabelFields m_fields;
    QWidget& m_home;
    std::atomic<quint64> m_parentsSet{0}; // rises after the parent was stored
    quint64 m_parentsFound = 0;
    QPointer<QWidget> m_parent; // null: home

    std::array<Shown, OVEL_LABELS> m_shown;
    std::vector<__tagQDrawGraphInfo> m_wanted; // last-arrived first; grows and stays
    int m_count = 0;                           // of text records, beyond the slots too
    int m_missingFontSizes = 0;
    int m_inside = 0;
    quint64 m_serial = 0; // of the list that was taken last
    QFont m_font;         // the application's when it was
    bool m_isStale = false;
};
