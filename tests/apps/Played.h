// Clips made by the ffmpeg program, programs that run to their end, and what must be on the screen.
#pragma once

#include "Reference.h"

#include <QColor>
#include <QImage>
#include <QStringList>
#include <QTemporaryDir>

namespace OvelTest
{

void WriteFile(const QString& file, const QByteArray& bytes);
QByteArray ReadFile(const QString& file);

// Runs a program to its end. Fails the test when it ends with another code.
struct Ended {
    QByteArray output;
    QByteArray errors;
};
Ended RunProgram(const QString& program, const QStringList& arguments, int expectedCode = 0,
                 const QByteArray& input = {});

// Runs ffmpeg quietly with arguments that spaces separate.
QByteArray Ffmpeg(const QString& arguments);

// A picture by a filter graph that gives RGB, encoded as described. The codec is libx264, libx265 or ffv1.
void MakeClip(const QString& file, const QString& graph, const QString& codec, const tagOvelColor& color,
              const QString& format = "yuv420p");

// The first picture of a file as decoded. Fails the test when its tags do not describe it so.
Picture DecodeFirst(const QString& file, const tagOvelColor& color);

// The decoded picture at its own size by the description, in double precision.
Canvas Described(const Picture& picture, const tagOvelColor& color);

// The clip as ffmpeg's own scaler shows it; certain where its surroundings are of one colour.
Canvas ByFfmpeg(const QString& file, QSize size, const tagOvelColor& color);

// What the player shows of some files, one picture each, side by side at their own size.
QImage PlayerPicture(const QTemporaryDir& directory, const QStringList& files, QSize window,
                     const QStringList& options = {});

// Where a tile of a window lies.
QRect TileRect(int index, int columns, QSize tile);
QColor OnScreen(int x, int y);
bool IsLike(const QColor& shown, const QColor& wanted, int tolerance = 39);

} // namespace OvelTest
