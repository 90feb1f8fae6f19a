// What keys and mouse do: one list for --help and for the panel that H shows.
#pragma once

#include <QString>
#include <QWidget>

struct KeyHelp {
    const char* Key;
    const char* Meaning;
};

extern const KeyHelp KeyHelpList[];
extern const int KeyHelpCount;

QString KeyListAsText();

// The list as a panel in the middle of its parent.
class KeyPanel : public QWidget
{
public:
    explicit KeyPanel(QWidget* parent);
    void Toggle();
    void Fit();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    // Heights.
    double m_line = 0.0;
    double m_letter = 0.0;
};
