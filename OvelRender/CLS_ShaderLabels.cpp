// The labels of CLS_ShaderBase: text records of the overlay list shown by QLabel children.
#include "CLS_ShaderBase.h"
#include "Guarded.h"
#include "ShaderBaseState.h"

#include <QApplication>
#include <QDebug>
#include <QLabel>
#include <QMutexLocker>
#include <QTextCodec>

#include <algorithm>
#include <cstring>

namespace
{

constexpr int DefaultFontSize = 50;
constexpr int LargestFontSize = 999; // beyond it a single glyph takes more memory than a screen
constexpr int LabelMargin = 11;
constexpr int64_t FarthestCoordinate = 1 << 23; // Qt's limit for widgets is twice that

int Bounded(int64_t coordinate)
{
    return static_cast<int>(std::clamp(coordinate, -FarthestCoordinate, FarthestCoordinate));
}

QRect LabelGeometry(const __tagQDrawGraphInfo& record)
{
    const int64_t left = record.stPoint[0].x;
    const int64_t top = record.stPoint[0].y;
    return {Bounded(left), Bounded(top - LabelMargin), Bounded(record.stPoint[1].x - left),
            Bounded(record.stPoint[1].y - top + int64_t{2} * LabelMargin)};
}

QString DecodeText(const __tagQDrawGraphInfo& record)
{
    const size_t length = strnlen(record.szText, sizeof(record.szText));
    const QByteArray bytes(record.szText, static_cast<int>(length));
    QString text;
    if (record.iTextCode == OVEL_TEXT_GBK) {
        if (const QTextCodec* codec = QTextCodec::codecForName("GBK"))
            text = codec->toUnicode(bytes);
    } else if (record.iTextCode == OVEL_TEXT_UTF8) {
        text = QString::fromUtf8(bytes);
    } else {
        text = QString::fromLocal8Bit(bytes);
    }
    // A text that fills the field may end inside a character.
    if (length == sizeof(record.szText)) {
        while (text.endsWith(QChar::ReplacementCharacter))
            text.chop(1);
    }
    return text;
}

QString StyleSheetOf(quint32 color)
{
    return QStringLiteral("color: rgb(%1, %2, %3);background-color: rgb(0, 0, 0);")
        .arg(color & 0xFF)
        .arg((color >> 8) & 0xFF)
        .arg((color >> 16) & 0xFF);
}

// A top above the widget moves down to it and takes the bottom along.
void PullBelowTop(__tagQDrawGraphInfo& record)
{
    const int64_t top = record.stPoint[0].y;
    if (record.iPointNum < 2 || top >= 0)
        return;
    record.stPoint[1].y = static_cast<int>(std::min<int64_t>(record.stPoint[1].y - top, INT32_MAX));
    record.stPoint[0].y = 0;
}

bool IsShownText(const __tagQDrawGraphInfo& record)
{
    return record.iGraphType == OVEL_GRAPH_TEXT && record.szText[0] != '\0';
}

// The text records that get a slot, last-arrived first.
struct TextRecords {
    QVector<__tagQDrawGraphInfo> shown;
    int count = 0; // beyond the slots too
};

TextRecords CollectTexts(QVector<__tagQDrawGraphInfo>& records)
{
    TextRecords texts;
    for (auto record = records.end(); record != records.begin();) {
        --record;
        if (!IsShownText(*record))
            continue;
        if (texts.count++ < OVEL_LABELS) {
            PullBelowTop(*record);
            texts.shown.append(*record);
        }
    }
    return texts;
}

void WarnOfMissingFontSize()
{
    qDebug("CLS_ShaderBase::AddLabel Error:iFontSize <= 0");
}

} // namespace

void CLS_ShaderBase::DrawTextInfo()
{
    m_pState->SyncLabels();
    for (int i = 0; i < m_pState->missingFontSizes; ++i)
        WarnOfMissingFontSize();
}

void CLS_ShaderBase::AddLabel(int iIndex, __tagQDrawGraphInfo* pInfo)
{
    if (static_cast<unsigned int>(iIndex) >= OVEL_LABELS || !pInfo || pInfo->iPointNum < 2)
        return;
    PullBelowTop(*pInfo);
    if (pInfo->iFontSize <= 0)
        WarnOfMissingFontSize();
    m_pState->ShowLabel(iIndex, *pInfo);
}

void CLS_ShaderBase::ClearLabel()
{
    for (int slot = 0; slot < OVEL_LABELS; ++slot)
        m_pState->ClearLabel(slot);
}

void CLS_ShaderBase::DeleteLabels()
{
    for (QLabel*& label : m_pLabel)
        delete label; // leaves its slot by itself
    m_pState->labelsOf = 0;
}

// What the pass shows depends on the overlay list and the label parent alone: unless one of them changed
// nothing is touched, and Qt composes the window once per frame.
void ShaderBaseState::SyncLabels()
{
    const quint64 list = overlays;
    QWidget* const parent = widget.m_pLabelParent;
    if (labelsOf == list && labelsUnder == parent)
        return;
    labelsOf = list;
    TextRecords texts;
    if (hasTexts) {
        const QMutexLocker lock(&widget.m_mutexDrawInfo);
        texts = CollectTexts(widget.m_vecDrawGraphInfo);
        hasTexts = texts.count > 0;
    }
    // Labels are touched without a lock: a host's widgets may feed records from their own events.
    missingFontSizes = 0;
    for (int slot = 0; slot < OVEL_LABELS; ++slot) {
        const bool used = slot < texts.shown.size() && texts.shown[slot].iPointNum >= 2;
        if (!used) {
            ClearLabel(slot);
            continue;
        }
        missingFontSizes += texts.shown[slot].iFontSize <= 0;
        ShowLabel(slot, texts.shown[slot]);
    }
    // Scheduled, not done here: a repaint of an ancestor from inside a paint would recurse into it.
    if (texts.count > 0 || widget.m_bLabelShown) {
        if (QWidget* labelHost = LabelParent(); labelHost != &widget)
            labelHost->update();
    }
    labelsUnder = parent;
    widget.m_bLabelShown = texts.count > 0;
}

// The host's label parent is only an address until Qt says that such a widget lives.
QWidget* ShaderBaseState::LabelParent()
{
    QWidget* const wanted = widget.m_pLabelParent;
    if (!wanted)
        return &widget;
    if (labelParent.data() != wanted) {
        const bool died = labelParent.isNull() && labelsUnder == wanted;
        if (died || !QApplication::allWidgets().contains(wanted))
            return &widget;
        labelParent = wanted;
        labelsUnder = wanted;
    }
    return wanted;
}

QLabel* ShaderBaseState::LabelOf(int slot)
{
    QLabel*& label = widget.m_pLabel[slot];
    QWidget* const parent = LabelParent();
    if (label && label->parentWidget() == parent)
        return label;
    if (label) {
        label->setParent(parent);
    } else {
        label = new QLabel(parent);
        labels[static_cast<size_t>(slot)] = ShownLabel();
        QObject::connect(label, &QObject::destroyed, &widget,
                         [this, slot] { widget.m_pLabel[slot] = nullptr; });
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
        label->setAttribute(Qt::WA_TranslucentBackground);
        label->setAlignment(Qt::AlignVCenter);
        label->setTextFormat(Qt::AutoText);
    }
    label->show();
    label->lower();
    return label;
}

void ShaderBaseState::ShowLabel(int slot, const __tagQDrawGraphInfo& record)
{
    QLabel* const label = LabelOf(slot);
    ShownLabel& shown = labels[static_cast<size_t>(slot)];
    const bool fresh = shown.fontSize == 0;
    const quint32 color = record.uiColor & 0xFFFFFF;
    if (fresh || color != shown.color) {
        label->setStyleSheet(StyleSheetOf(color));
        shown.color = color;
    }
    const int fontSize =
        std::min(record.iFontSize <= 0 ? DefaultFontSize : record.iFontSize, LargestFontSize);
    if (fontSize != shown.fontSize) {
        QFont font;
        font.setPointSize(fontSize);
        label->setFont(font);
        shown.fontSize = fontSize;
    }
    const QRect geometry = LabelGeometry(record);
    if (fresh || geometry != shown.geometry) {
        label->setGeometry(geometry);
        shown.geometry = geometry;
    }
    const QString text = DecodeText(record);
    if (fresh || text != shown.text) {
        label->setText(text);
        shown.text = text;
    }
}

void ShaderBaseState::ClearLabel(int slot)
{
    QLabel* const label = widget.m_pLabel[slot];
    ShownLabel& shown = labels[static_cast<size_t>(slot)];
    if (!label || shown.text.isEmpty())
        return;
    label->clear();
    shown.text.clear();
}
