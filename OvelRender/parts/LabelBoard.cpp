#include "LabelBoard.h"

#include "LabelText.h"

#include <QApplication>
#include <QLabel>

class LabelBoard::Inside
{
public:
    explicit Inside(LabelBoard& board) : m_board(board) { ++m_board.m_inside; }
    ~Inside() { --m_board.m_inside; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

private:
    LabelBoard& m_board;
};

void LabelBoard::SetParent(QWidget* parent)
{
    m_fields.parent = parent;
    ++m_parentsSet;
}

// An address is no identity: what was found for it is kept by a guarded pointer, and looked up again only when
// the host gives it again.
void LabelBoard::FindParent()
{
    const quint64 set = m_parentsSet;
    if (m_parentsFound == set) {
        return;
    }
    QWidget* const wanted = m_fields.parent;
    m_parent = wanted && QApplication::allWidgets().contains(wanted) ? wanted : nullptr;
    m_parentsFound = set;
    m_isStale = true;
}

QWidget* LabelBoard::Parent() const
{
    return m_parent ? m_parent.data() : &m_home;
}

// What a pass shows depends on the list, the parent and the application's font alone: unless one of them
// changed nothing is touched, and Qt composes the window once per frame.
bool LabelBoard::Take(QVector<__tagQDrawGraphInfo>& records, quint64 serial)
{
    FindParent();
    if (!m_isStale && m_serial == serial && (m_count == 0 || m_font == QFont())) {
        return false;
    }
    m_isStale = true; // until all is taken
    m_wanted.clear();
    m_count = 0;
    m_missingFontSizes = 0;
    for (auto record = records.end(); record != records.begin();) {
        --record;
        if (!TakesLabel(*record)) {
            continue;
        }
        ++m_count;
        if (m_count <= OVEL_LABELS) {
            TakeRecord(*record);
        }
    }
    m_serial = serial;
    m_font = QFont();
    m_isStale = false;
    return true;
}

void LabelBoard::TakeRecord(__tagQDrawGraphInfo& record)
{
    PullBelowTop(record);
    if (record.iPointNum >= 2 && record.iFontSize <= 0) {
        ++m_missingFontSizes;
    }
    m_wanted.push_back(record);
}

void LabelBoard::Show()
{
    for (int slot = 0; slot < OVEL_LABELS; ++slot) {
        const auto index = static_cast<size_t>(slot);
        // A copy: a host's event filter may run events, and so another pass, from here.
        const __tagQDrawGraphInfo record = index < m_wanted.size() ? m_wanted[index] : __tagQDrawGraphInfo{};
        if (record.iPointNum >= 2) {
            ShowRecord(slot, record);
        } else {
            ClearSlot(slot);
        }
    }
    if (m_count > 0 || m_fields.areShown) {
        UpdateParent();
    }
    m_fields.areShown = m_count > 0;
}

void LabelBoard::FinishPass(bool labelsChange)
{
    if (labelsChange) {
        Show();
    }
    for (int i = 0; i < m_missingFontSizes; ++i) {
        WarnOfMissingFontSize();
    }
}

// Scheduled, not done here: a repaint of an ancestor from inside a paint would recurse into it.
void LabelBoard::UpdateParent() const
{
    if (m_parent) {
        m_parent->update();
    }
}

QLabel* LabelBoard::LabelOf(int slot)
{
    QLabel*& label = m_fields.labels[slot];
    QWidget* const parent = Parent();
    if (label && label->parentWidget() == parent) {
        return label;
    }
    if (label) {
        label->setParent(parent);
    } else {
        label = new QLabel(parent);
        m_shown[static_cast<size_t>(slot)] = Shown();
        QObject::connect(label, &QObject::destroyed, &m_home, [this, slot] {
            m_fields.labels[slot] = nullptr;
            m_isStale = true;
        });
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
        label->setAttribute(Qt::WA_TranslucentBackground);
        label->setAlignment(Qt::AlignVCenter);
        label->setTextFormat(Qt::AutoText);
    }
    // Beside a renderer that is a window of the display server Qt makes all children such windows; for a
    // translucent one it cannot.
    label->setAttribute(Qt::WA_NativeWindow, false);
    label->show();
    label->lower();
    return label;
}

void LabelBoard::ShowRecord(int slot, const __tagQDrawGraphInfo& record)
{
    const Inside inside(*this);
    QLabel* const label = LabelOf(slot);
    Shown& shown = m_shown[static_cast<size_t>(slot)];
    const quint32 color = record.uiColor & 0xFFFFFF;
    if (shown.isFresh || color != shown.color) {
        label->setStyleSheet(LabelStyleSheet(color));
        shown.color = color;
    }
    QFont font;
    font.setPointSize(LabelFontSize(record));
    if (shown.isFresh || font != shown.font) {
        label->setFont(font);
        shown.font = font;
    }
    const QRect geometry = LabelGeometry(record);
    if (shown.isFresh || geometry != shown.geometry) {
        label->setGeometry(geometry);
        shown.geometry = geometry;
    }
    const QString text = LabelText(record);
    if (shown.isFresh || text != shown.text) {
        label->setText(text);
        shown.text = text;
    }
    shown.isFresh = false;
}

void LabelBoard::ClearSlot(int slot)
{
    QLabel* const label = m_fields.labels[slot];
    Shown& shown = m_shown[static_cast<size_t>(slot)];
    if (!label || shown.text.isEmpty()) {
        return;
    }
    const Inside inside(*this);
    label->clear();
    shown.text.clear();
}

void LabelBoard::Hide()
{
    if (!m_fields.areShown) {
        return;
    }
    Clear();
    UpdateParent();
    m_fields.areShown = false;
}

void LabelBoard::Clear()
{
    for (int slot = 0; slot < OVEL_LABELS; ++slot) {
        ClearSlot(slot);
    }
    m_isStale = true;
}

void LabelBoard::Delete()
{
    for (QLabel*& label : m_fields.labels) {
        delete label; // leaves its slot by itself
    }
    m_isStale = true;
}
