// The wall's command line.
#pragma once

#include "LiveStream.h"

#include <QString>
#include <QStringList>

enum class TileWay { Auto, Native, Shared }; // Auto: native without a GPU

struct WallOptions {
    QStringList Sources; // lists replaced by what they name
    int Tiles = 16;      // which take the sources in turn
    TileWay Way = TileWay::Auto;
    int Threads = 1; // that decode files
    LiveOptions Live;
    QString Statistics; // a line per second and tile goes there
    QString Boxes;      // read from there; empty: none
    double Seconds = 0.0;
    QString Picture; // written when the seconds are over
};

// Reads the arguments of the running application; --help, --version and mistakes end the process, with 0, 0
// and 1.
WallOptions ReadOptions();
