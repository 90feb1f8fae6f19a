// What the command lines of all applications share: the options about live sources, and how times are read.
#pragma once

#include "LiveStream.h"

#include <QCommandLineOption>
#include <QList>
#include <QString>

class QCommandLineParser;

// More than none, a day at most. False with a one-line reason when it is no such number.
bool ReadSeconds(const QString& text, double& seconds, QString& reason);

class LiveCommandLine
{
public:
    LiveCommandLine();
    QList<QCommandLineOption> Options() const { return {m_timeout, m_longestPause, m_record}; }

    static QString SourceHelp(); // what can be named

    // After parsing. False with a one-line reason when a value is no number of seconds.
    bool Read(const QCommandLineParser& parser, LiveOptions& options, QString& reason) const;
    QString StatisticsFileName(const QCommandLineParser& parser) const; // empty: none

private:
    QCommandLineOption m_timeout;
    QCommandLineOption m_longestPause;
    QCommandLineOption m_record;
};
