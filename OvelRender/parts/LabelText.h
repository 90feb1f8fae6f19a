// What a text record says about its label: pure functions of the record.
#pragma once

#include "OvelInterface.h"

#include <QRect>
#include <QString>

// A top above the widget moves down to it and takes the bottom along.
void PullBelowTop(__tagQDrawGraphInfo& record);
// Whether the record is a text that takes one of the label slots.
bool TakesLabel(const __tagQDrawGraphInfo& record);
QRect LabelGeometry(const __tagQDrawGraphInfo& record);
QString LabelText(const __tagQDrawGraphInfo& record);
QString LabelStyleSheet(quint32 color);
// Points; 50 when the record gives none.
int LabelFontSize(const __tagQDrawGraphInfo& record);
void WarnOfMissingFontSize();
