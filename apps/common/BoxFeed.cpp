#include "BoxFeed.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr int LongestLine = 4096;
constexpr int BytesAtOnce = 16384;
constexpr size_t MostBoxes = 500000; // of all tiles, about 100 MiB

} // namespace

std::unique_ptr<BoxFeed> BoxFeed::Open(const QString& file, QString& reason)
{
    const QByteArray name = QFile::encodeName(file);
    struct stat about = {};
    int opened = -1;
    if (file == QLatin1String("-")) {
        opened = dup(STDIN_FILENO);
    } else if (stat(name.constData(), &about) == 0 && S_ISDIR(about.st_mode)) {
        errno = EISDIR;
    } else {
        // Opened for writing too, a pipe does not end with its writer, and opening does not wait for one.
        const int mode = S_ISFIFO(about.st_mode) ? O_RDWR : O_RDONLY;
        opened = open(name.constData(), mode | O_CLOEXEC | O_NONBLOCK);
    }
    if (opened < 0) {
        reason = QString::fromLocal8Bit(std::strerror(errno));
        return nullptr;
    }
    return std::unique_ptr<BoxFeed>(new BoxFeed(opened));
}

BoxFeed::BoxFeed(int file) : m_file(file), m_stop(eventfd(0, EFD_CLOEXEC)) {}

BoxFeed::~BoxFeed()
{
    if (m_thread.joinable()) {
        eventfd_write(m_stop, 1);
        m_thread.join();
    }
    close(m_file);
    close(m_stop);
}

std::vector<std::shared_ptr<BoxBoard>> BoxFeed::MakeBoards(const std::vector<double>& framesPerSecond)
{
    std::vector<std::shared_ptr<BoxBoard>> boards;
    boards.reserve(framesPerSecond.size());
    for (const double rate : framesPerSecond) {
        boards.push_back(std::make_shared<BoxBoard>(rate, MostBoxes / framesPerSecond.size()));
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_boards = boards;
    }
    if (!m_thread.joinable() && !boards.empty()) {
        m_thread = std::thread([this] { Run(); });
    }
    return boards;
}

void BoxFeed::Run()
{
    pollfd waited[] = {{m_file, POLLIN, 0}, {m_stop, POLLIN, 0}};
    char bytes[BytesAtOnce];
    for (;;) {
        if (poll(waited, 2, -1) < 0 && errno != EINTR) {
            break;
        }
        if (waited[1].revents != 0) {
            break;
        }
        const ssize_t count = waited[0].revents != 0 ? read(m_file, bytes, sizeof(bytes)) : -1;
        if (count > 0) {
            TakeBytes(QByteArray(bytes, static_cast<int>(count)));
            AnnounceAll();
        } else if (count == 0 || (waited[0].revents != 0 && errno != EAGAIN && errno != EINTR)) {
            TakeBytes(m_begun.isEmpty() ? "" : "\n"); // the last line may lack its end
            AnnounceAll();
            break;
        }
    }
    Report();
}

void BoxFeed::TakeBytes(const QByteArray& bytes)
{
    int begin = 0;
    for (int end = bytes.indexOf('\n'); end >= 0; end = bytes.indexOf('\n', begin)) {
        m_begun += bytes.mid(begin, end - begin);
        TakeLine(m_begun.trimmed());
        m_begun.clear();
        m_isTooLong = false;
        begin = end + 1;
    }
    m_begun += bytes.mid(begin);
    m_isTooLong = m_isTooLong || m_begun.size() > LongestLine;
    m_begun.truncate(LongestLine);
}

void BoxFeed::TakeLine(const QByteArray& text)
{
    ++m_lines;
    if (text.isEmpty()) {
        return;
    }
    BoxLine line;
    QString reason;
    if (m_isTooLong || text.size() > LongestLine) {
        LeaveOut(QStringLiteral("it is longer than %1 bytes").arg(LongestLine));
        return;
    }
    if (!ReadBoxLine(text, line, reason)) {
        LeaveOut(reason);
        return;
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (static_cast<size_t>(line.Tile) > m_boards.size()) {
        LeaveOut(QStringLiteral("there is no tile %1").arg(line.Tile));
        return;
    }
    m_boards[static_cast<size_t>(line.Tile) - 1]->Add(line);
}

void BoxFeed::LeaveOut(const QString& reason)
{
    if (m_leftOut++ == 0) {
        m_firstReason = QStringLiteral("line %1: %2").arg(m_lines).arg(reason);
    }
}

void BoxFeed::AnnounceAll()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const std::shared_ptr<BoxBoard>& board : m_boards) {
        board->Announce();
    }
}

void BoxFeed::Report() const
{
    if (m_leftOut > 0) {
        std::fprintf(stderr, "%s: boxes: %lld of %lld lines left out, first %s\n",
                     qPrintable(QCoreApplication::applicationName()), m_leftOut, m_lines,
                     qPrintable(m_firstReason));
    }
}
