// Clips made by the ffmpeg program, what a decoder finds in them, and what must be on the screen for it.
#pragma once

#include "Reference.h"

#include <QImage>
#include <QStringList>
#include <QTemporaryDir>

#include <string>

namespace OvelTest
{

// The first picture of a file as decoded, with its own tags in FFmpeg's numbers.
struct Decoded {
    Picture picture{0, 0};
    int colorspace = 0;
    int range = 0;
    int chromaLocation = 0;
};
Decoded DecodeFirst(const QString& file);

// Runs a program to its end; what it wrote to standard output. Fails the test when it ends with another code.
QByteArray RunProgram(const QString& program, const QStringList& arguments, int expectedCode = 0);

// Runs ffmpeg quietly.
void Ffmpeg(const QStringList& arguments);

// A picture by a filter graph that gives RGB, encoded as described. The codec is libx264, libx265 or ffv1.
void MakeClip(const QString& file, const QString& graph, const QString& codec, const tagOvelColor& color,
              const QString& format = "yuv420p");

// The decoded picture at its own size by the description, in double precision.
Canvas Described(const Picture& picture, const tagOvelColor& color);

// Only pixels stay certain whose surroundings, chroma included, are of one colour.
void KeepFlatAreas(Canvas& canvas, const Picture& picture);
void KeepFlatAreas(Canvas& canvas); // as its own colours say

// The clip as ffmpeg's own scaler shows it.
Canvas ByFfmpeg(const QString& file, QSize size, const tagOvelColor& color);

// What the player shows of some files, one picture each, side by side at their own size.
QImage PlayerPicture(const QTemporaryDir& directory, const QStringList& files, QSize window,
                     const QStringList& options = {});

} // namespace OvelTest
