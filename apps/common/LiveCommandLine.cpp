#include "LiveCommandLine.h"

#include <QCommandLineParser>

bool ReadSeconds(const QString& text, double& seconds, QString& reason)
{
    bool isNumber = false;
    seconds = text.toDouble(&isNumber);
    if (isNumber && seconds > 0.0 && seconds <= 86400.0) {
        return true;
    }
    reason = QStringLiteral("'%1' is no number of seconds").arg(text);
    return false;
}

LiveCommandLine::LiveCommandLine()
    : m_timeout(QStringLiteral("timeout"),
                QStringLiteral("A live source that gives nothing for so long is lost. Default: 5."),
                QStringLiteral("seconds"), QStringLiteral("5")),
      m_longestPause(
          QStringLiteral("longest-pause"),
          QStringLiteral("A lost source is tried again after half a second, then after twice as long "
                         "each time, up to this. Default: 30."),
          QStringLiteral("seconds"), QStringLiteral("30")),
      m_record(QStringLiteral("record-statistics"),
               QStringLiteral("Write a line of JSON per second and tile: time, tile, source, state, pictures "
                              "received, shown and dropped, losses, delay in seconds if the sender tells."),
               QStringLiteral("file"))
{
}

QString LiveCommandLine::SourceHelp()
{
    return QStringLiteral(
        "Video files; live sources (rtsp://, http://, udp:// and so on, /dev/video0, a session's "
        ".sdp); .txt files that name such, one a line, # for comments.");
}

bool LiveCommandLine::Read(const QCommandLineParser& parser, LiveOptions& options, QString& reason) const
{
    return ReadSeconds(parser.value(m_timeout), options.TimeoutSeconds, reason) &&
           ReadSeconds(parser.value(m_longestPause), options.LongestPauseSeconds, reason);
}

QString LiveCommandLine::StatisticsFileName(const QCommandLineParser& parser) const
{
    return parser.value(m_record);
}
