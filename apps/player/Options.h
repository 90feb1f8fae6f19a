// The player's command line.
#pragma once

#include "VideoSource.h"

#include <QSize>
#include <QStringList>

#include <vector>

enum class RendererChoice { Full, Sub, Mixed };

struct Options {
    QStringList Files;
    FrameLayout Layout = FrameLayout::AsDecoded;
    std::vector<ColorChoice> Colors{ColorChoice::Tagged}; // the files take them in turn
    Handover Way = Handover::Reference;
    RendererChoice Renderer = RendererChoice::Full;
    bool Overlay = false;
    bool Keys = false;
    bool Log = false;
    bool Once = false;
    bool FullScreen = false;
    bool Bare = false;    // pictures only
    double Seconds = 0.0; // 0: until the user quits
    QString Picture;      // written when the seconds are over
    QSize WindowSize{960, 571};
};

// Reads the arguments of the running application; --help, --version and mistakes end the process, with 0, 0
// and 1.
Options ReadOptions();
