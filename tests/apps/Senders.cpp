#include "Senders.h"

#include "Harness.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QScreen>

#include <cmath>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace OvelTest
{

namespace
{

int BoundSocket(int type, int& port)
{
    const int made = socket(AF_INET, type, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    EXPECT_EQ(bind(made, reinterpret_cast<sockaddr*>(&address), length), 0);
    getsockname(made, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
    return made;
}

} // namespace

int FreePort()
{
    int port = 0;
    close(BoundSocket(SOCK_DGRAM, port));
    return port / 2 * 2; // RTP takes an even one and the next
}

QByteArray SessionDescription(int port)
{
    return "v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=-\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\nm=video " +
           QByteArray::number(port) + " RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\n";
}

Sender::Sender(const QString& color, const QString& codec, const QStringList& output)
{
    QStringList arguments{
        "-v",       "quiet",       "-nostdin", "-re",
        "-f",       "lavfi",       "-i",       QString("color=c=%1:size=160x120:rate=10").arg(color),
        "-c:v",     codec,         "-preset",  "ultrafast",
        "-tune",    "zerolatency", "-g",       "5",
        "-pix_fmt", "yuv420p"};
    if (codec == "libx265") {
        arguments += QStringList{"-x265-params", "log-level=none:pools=1:repeat-headers=1"};
    }
    m_process.start(OVEL_FFMPEG, arguments + output);
    EXPECT_TRUE(m_process.waitForStarted());
}

Sender::~Sender()
{
    m_process.kill();
    m_process.waitForFinished();
}

Server::Server(const QByteArray& bytes, Then then)
    : m_socket(BoundSocket(SOCK_STREAM, m_port)), m_thread([this, bytes, then] { Serve(bytes, then); })
{
}

Server::~Server()
{
    m_stop = true;
    m_thread.join();
    close(m_socket);
}

QString Server::Url(const char* scheme) const
{
    return QString("%1://127.0.0.1:%2").arg(scheme).arg(m_port);
}

std::vector<std::chrono::steady_clock::time_point> Server::Connections()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_connections;
}

void Server::Serve(const QByteArray& bytes, Then then)
{
    std::vector<int> kept;
    listen(m_socket, 8);
    while (!m_stop) {
        pollfd waiting{m_socket, POLLIN, 0};
        if (poll(&waiting, 1, 20) != 1) {
            continue;
        }
        const int connection = accept(m_socket, nullptr, nullptr);
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_connections.push_back(std::chrono::steady_clock::now());
        }
        send(connection, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL);
        if (then == Then::Close) {
            close(connection);
        } else {
            kept.push_back(connection);
        }
    }
    for (const int connection : kept) {
        close(connection);
    }
}

Camera::Camera(const QString& color)
    : m_socket(BoundSocket(SOCK_STREAM, m_port)), m_thread([this, color] { Serve(color); })
{
}

Camera::~Camera()
{
    m_stop = true;
    m_thread.join();
    close(m_socket);
}

QByteArray Camera::Answer(const QByteArray& request, QByteArray& ports) const
{
    const auto field = [&request](const QByteArray& name) {
        const int start = static_cast<int>(request.indexOf(name));
        const int begin = start + static_cast<int>(name.size());
        return start < 0 ? QByteArray()
                         : request.mid(begin, static_cast<int>(request.indexOf("\r\n", begin)) - begin);
    };
    QByteArray head = "RTSP/1.0 200 OK\r\nCSeq:" + field("CSeq:") + "\r\nSession: 1\r\n";
    QByteArray body;
    if (request.startsWith("OPTIONS")) {
        head += "Public: DESCRIBE, SETUP, PLAY, TEARDOWN\r\n";
    } else if (request.startsWith("DESCRIBE")) {
        body = SessionDescription(0);
        head +=
            "Content-Type: application/sdp\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n";
    } else if (request.startsWith("SETUP")) {
        ports = field("client_port=");
        head += "Transport: RTP/AVP;unicast;client_port=" + ports + ";server_port=50002-50003\r\n";
    }
    return head + "\r\n" + body;
}

void Camera::Serve(const QString& color)
{
    listen(m_socket, 1);
    int connection = -1;
    QByteArray ports;
    std::unique_ptr<Sender> sender; // on this thread
    while (!m_stop) {
        pollfd waiting{connection < 0 ? m_socket : connection, POLLIN, 0};
        if (poll(&waiting, 1, 20) != 1) {
            continue;
        }
        if (connection < 0) {
            connection = accept(m_socket, nullptr, nullptr);
            continue;
        }
        char bytes[4096];
        const ssize_t length = recv(connection, bytes, sizeof(bytes), 0);
        const QByteArray request(bytes, static_cast<int>(std::max<ssize_t>(length, 0)));
        if (request.isEmpty()) {
            break;
        }
        const QByteArray answer = Answer(request, ports);
        send(connection, answer.constData(), static_cast<size_t>(answer.size()), MSG_NOSIGNAL);
        if (request.startsWith("PLAY")) {
            const QString target = QString("rtp://127.0.0.1:%1").arg(ports.split('-').value(0).toInt());
            sender = std::make_unique<Sender>(color, "libx264", QStringList{"-f", "rtp", target});
        }
    }
    close(connection);
}

Watched::Watched(const QString& program, const QStringList& arguments)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(program,
                    QStringList{"--record-statistics", m_directory.filePath("statistics")} + arguments);
    EXPECT_TRUE(m_process.waitForStarted());
}

Watched::~Watched()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        m_process.waitForFinished();
    }
}

std::vector<QJsonObject> Watched::Lines(int tile) const
{
    std::vector<QJsonObject> lines;
    QFile file(m_directory.filePath("statistics"));
    const QByteArray all = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    for (const QByteArray& line : all.split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        if (object["tile"].toInt() == tile) {
            lines.push_back(object);
        }
    }
    return lines;
}

QJsonObject Watched::Tile(int number) const
{
    const std::vector<QJsonObject> lines = Lines(number);
    return lines.empty() ? QJsonObject() : lines.back();
}

bool Watched::WaitFor(int tile, const std::function<bool(const QJsonObject&)>& condition, int seconds) const
{
    return WaitUntil([&] { return condition(Tile(tile)); }, 1000 * seconds);
}

int Watched::ExitCode()
{
    EXPECT_TRUE(m_process.waitForFinished(60000));
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

int Watched::Count(const char* what) const
{
    const QDir directory(QString("/proc/%1/%2").arg(m_process.processId()).arg(what));
    return static_cast<int>(
        directory.entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size());
}

double Watched::Mebibytes() const
{
    QFile file(QString("/proc/%1/statm").arg(m_process.processId()));
    file.open(QIODevice::ReadOnly);
    const QList<QByteArray> numbers = file.readAll().split(' ');
    return numbers.value(1).toDouble() * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

QColor OnScreen(int x, int y)
{
    return QGuiApplication::primaryScreen()->grabWindow(0, x, y, 1, 1).toImage().pixelColor(0, 0);
}

bool IsLike(const QColor& shown, const QColor& wanted)
{
    return std::abs(shown.red() - wanted.red()) + std::abs(shown.green() - wanted.green()) +
               std::abs(shown.blue() - wanted.blue()) <
           30;
}

} // namespace OvelTest
