// Senders of live video on the loopback address: the ffmpeg program, and sockets that behave badly; programs that
// watch them, by their statistics and by what the screen shows.
#pragma once

#include <QColor>
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
    Sender(const QString& color, const QString& codec, const QStringList& output);
    ~Sender();

private:
    QProcess m_process;
};

// Accepts connections, sends each the same bytes, or nothing, and closes it, or not.
class Server
{
public:
    enum class Then { Close, KeepSilent };

    Server(const QByteArray& bytes, Then then);
    ~Server();

    QString Url(const char* scheme = "tcp") const;
    std::vector<std::chrono::steady_clock::time_point> Connections();

private:
    void Serve(const QByteArray& bytes, Then then);

    int m_port = 0;
    int m_socket;
    std::atomic<bool> m_stop{false};
    std::mutex m_mutex;
    std::vector<std::chrono::steady_clock::time_point> m_connections; // under m_mutex
    std::thread m_thread;
};

// A camera: answers one connection's RTSP, and while that lasts sends to the ports that it asked for.
class Camera
{
public:
    explicit Camera(const QString& color);
    ~Camera();

    QString Url() const { return QString("rtsp://127.0.0.1:%1/stream").arg(m_port); }

private:
    void Serve(const QString& color);
    QByteArray Answer(const QByteArray& request, QByteArray& ports) const;

    int m_port = 0;
    int m_socket;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

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

QColor OnScreen(int x, int y);
bool IsLike(const QColor& shown, const QColor& wanted);

} // namespace OvelTest
