// Senders of live video on the loopback address: the ffmpeg program, and sockets that behave badly; programs that
// watch them, by their statistics.
#pragma once

#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace OvelTest
{

int FreePort();
// What an RTP sender of H.264 would write to its .sdp.
QByteArray SessionDescription(int port);

// ffmpeg with pictures of one colour, 10 a second, until it is destroyed.
class Sender
{
public:
    Sender(const QString& color, const QString& codec, const QString& output);
    ~Sender();

private:
    QProcess m_process;
};

// Sends each connection a greeting. Without an answer it closes it then; with one it answers what comes.
class Server
{
public:
    using Answer = std::function<QByteArray(const QByteArray& request)>; // on the server's thread

    explicit Server(const QByteArray& greeting, const Answer& answer = nullptr);
    ~Server();

    QString Url(const char* scheme = "tcp") const;
    std::vector<std::chrono::steady_clock::time_point> Connections();

private:
    void Serve(const QByteArray& greeting, const Answer& answer);

    int m_port = 0;
    int m_socket;
    std::atomic<bool> m_stop{false};
    std::mutex m_mutex;
    std::vector<std::chrono::steady_clock::time_point> m_connections; // under m_mutex
    std::thread m_thread;
};

// A camera's answers to RTSP; as long as they are kept it sends to the ports that it was asked for.
Server::Answer Camera(const QString& color);

// The player or the wall while it runs.
class Watched
{
public:
    Watched(const QString& program, const QStringList& arguments);
    ~Watched(); // asks it to end, if it has not by itself

    // The last line of each tile that is in the statistics.
    QJsonObject Tile(int number) const;
    std::vector<QJsonObject> Lines(int tile) const;
    // Waits until the line of a tile fulfils it; false after the time.
    bool WaitFor(int tile, const std::function<bool(const QJsonObject&)>& condition, int seconds = 20) const;
    int ExitCode();                    // waits for its end
    int Count(const char* what) const; // entries of /proc/PID/WHAT: "fd", "task"
    double Mebibytes() const;

private:
    QTemporaryDir m_directory;
    QProcess m_process;
};

} // namespace OvelTest
