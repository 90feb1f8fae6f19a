// Which sources a command line means, and what they are called.
#pragma once

#include <QString>
#include <QStringList>

// What a title has room for: a file's name without its directory, where a URL leads to without who asks.
QString NameOfSource(const QString& source);

// Arguments with every text file among them (*.txt) replaced by the sources that it names: one a line, blank
// lines and lines that begin with # left out, names of files relative to the list. False with a one-line
// reason when a list cannot be read or names nothing.
bool ExpandSources(const QStringList& arguments, QStringList& sources, QString& reason);
