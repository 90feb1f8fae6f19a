// The options about live sources, the same in all applications.
#pragma once

#include "LiveStream.h"

#include <QCommandLineOption>
#include <QList>
#include <QString>

class QCommandLineParser;

class LiveCommandLine
{
public:
    LiveCommandLine();
    QList<QCommandLineOption> Options() const { return {m_timeout, m_longestPause, m_record}; }

    // After parsing. False with a one-line reason when a value is no number of seconds.
    bool Read(const QCommandLineParser& parser, LiveOptions& options, QString& reason) const;
    QString StatisticsFileName(const QCommandLineParser& parser) const; // empty: none

private:
    QCommandLineOption m_timeout;
    QCommandLineOption m_longestPause;
    QCommandLineOption m_record;
};
