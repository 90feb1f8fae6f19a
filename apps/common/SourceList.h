// Which sources a command line means.
#pragma once

#include <QString>
#include <QStringList>

// Arguments with every text file among them (*.txt) replaced by the sources that it names: one a line, blank
// lines and lines that begin with # left out, names of files relative to the list. False with a one-line
// reason when a list cannot be read or names nothing.
bool ExpandSources(const QStringList& arguments, QStringList& sources, QString& reason);
