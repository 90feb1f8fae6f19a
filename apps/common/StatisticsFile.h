// A line of JSON per second and tile, for whoever watches a wall from outside.
#pragma once

#include "LiveStream.h"

#include <QFile>
#include <QString>

#include <vector>

QString NameOf(LiveState state); // as the lines call it

struct TileFigures {
    QString Source;
    const FrameCounter* Counter = nullptr;
    const LiveStream* Live = nullptr; // null for files
};

// GUI thread.
class StatisticsFile
{
public:
    // False when the file cannot be written, with a one-line reason on standard error.
    bool Open(const QString& name);
    // A line for each tile, counted from 1, with the present time. Nothing unless a file is open.
    void Write(const std::vector<TileFigures>& tiles);

private:
    QFile m_file;
};
