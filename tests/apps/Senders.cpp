#include "Senders.h"

#include "Harness.h"
#include "Played.h"

#include <QDir>
#include <QJsonDocument>

#include <memory>
#include <utility>

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

Sender::Sender(const QString& color, const QString& codec, const QString& output)
{
    const QString encoded =
        "-v quiet -nostdin -re -f lavfi -i color=c=%1:size=160x120:rate=10 -c:v %2 -preset ultrafast "
        "-tune zerolatency -g 5 -pix_fmt yuv420p ";
    const QString repeated = codec == "libx265" ? "-x265-params pools=1:repeat-headers=1 " : "";
    m_process.start(OVEL_FFMPEG, (encoded.arg(color, codec) + repeated + output).split(' '));
    EXPECT_TRUE(m_process.waitForStarted());
}

Sender::~Sender()
{
    m_process.kill();
    m_process.waitForFinished();
}

Server::Server(const QByteArray& greeting, const Answer& answer)
    : m_socket(BoundSocket(SOCK_STREAM, m_port)),
      m_thread([this, greeting, answer] { Serve(greeting, answer); })
{
}

Server::~Server()
{
    m_stop = true;
    m_thread.join();
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

void Server::Serve(const QByteArray& greeting, const Answer& answer)
{
    const auto give = [](const pollfd& to, const QByteArray& bytes) {
        send(to.fd, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL);
    };
    std::vector<pollfd> sockets{{m_socket, POLLIN, 0}};
    listen(m_socket, 8);
    while (!m_stop) {
        poll(sockets.data(), sockets.size(), 20);
        for (pollfd& open : sockets) {
            char bytes[4096];
            if (open.fd != m_socket && open.revents != 0) {
                const ssize_t length = recv(open.fd, bytes, sizeof(bytes), 0);
                if (length > 0) {
                    give(open, answer({bytes, static_cast<int>(length)}));
                } else {
                    close(std::exchange(open.fd, -1));
                }
            }
        }
        if (sockets[0].revents != 0) {
            sockets.push_back({accept(m_socket, nullptr, nullptr), POLLIN, 0});
            give(sockets.back(), greeting);
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_connections.push_back(std::chrono::steady_clock::now());
        }
        if (!answer && sockets.size() > 1) {
            close(sockets.back().fd);
            sockets.pop_back();
        }
    }
    for (const pollfd& open : sockets) {
        close(open.fd);
    }
}

Server::Answer Camera(const QString& color)
{
    return [color, port = QByteArray(),
            sender = std::shared_ptr<Sender>()](const QByteArray& request) mutable {
        const auto field = [&request](const QByteArray& name) {
            return request.mid(request.indexOf(name) + name.size()).split('\r').front();
        };
        QByteArray head = "RTSP/1.0 200 OK\r\nCSeq:" + field("CSeq:") + "\r\nSession: 1\r\n", body;
        if (request.startsWith("OPTIONS")) {
            head += "Public: DESCRIBE, SETUP, PLAY, TEARDOWN\r\n";
        } else if (request.startsWith("DESCRIBE")) {
            body = SessionDescription(0);
            head += "Content-Type: application/sdp\r\nContent-Length: " + QByteArray::number(body.size()) +
                    "\r\n";
        } else if (request.startsWith("SETUP")) {
            const QByteArray ports = field("client_port=");
            port = ports.split('-').front();
            head += "Transport: RTP/AVP;unicast;client_port=" + ports + ";server_port=50002-50003\r\n";
        } else if (request.startsWith("PLAY")) {
            sender = std::make_shared<Sender>(color, "libx264", "-f rtp rtp://127.0.0.1:" + port);
        }
        return head + "\r\n" + body;
    };
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
    for (const QByteArray& line : ReadFile(m_directory.filePath("statistics")).split('\n')) {
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
    const QList<QByteArray> numbers =
        ReadFile(QString("/proc/%1/statm").arg(m_process.processId())).split(' ');
    return numbers.value(1).toDouble() * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

} // namespace OvelTest
