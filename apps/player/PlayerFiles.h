// Files that the player is to open: named on the command line, dropped on the window, chosen in a dialog.
#pragma once

#include "Options.h"

#include <functional>
#include <memory>
#include <vector>

class QMimeData;
class QWidget;

struct OpenedFile {
    QString Name;
    std::unique_ptr<VideoSource> Source; // null for live sources, which are opened on a thread of their own
    LiveOptions Live;
};

// Opens the files as the options say. Each of them that cannot be played is left out and described in a line.
std::vector<OpenedFile> OpenFiles(const QStringList& files, const Options& options, QStringList& problems);

// What was dropped, files by their names and other addresses as they are. Empty when it is neither.
QStringList FilesOf(const QMimeData& dropped);

// Asks in a dialog that lets everything else go on.
void AskForFiles(QWidget* window, const std::function<void(const QStringList&)>& chosen);
