// Reads the lines of a detector on a thread of its own and gives each to the board of its tile.
#pragma once

#include "BoxBoard.h"

#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class BoxFeed
{
public:
    // A file, a named pipe (whose writers may come and go) or, for -, standard input. Null with a reason when it
    // cannot be read.
    static std::unique_ptr<BoxFeed> Open(const QString& file, QString& reason);
    ~BoxFeed();
    BoxFeed(const BoxFeed&) = delete;
    BoxFeed& operator=(const BoxFeed&) = delete;

    // New boards for tiles with these rates, the first one being tile 1; nothing is read before. GUI thread.
    std::vector<std::shared_ptr<BoxBoard>> MakeBoards(const std::vector<double>& framesPerSecond);

private:
    explicit BoxFeed(int file);
    void Run();
    void TakeBytes(const QByteArray& bytes);
    void TakeLine(const QByteArray& text);
    void LeaveOut(const QString& reason);
    void AnnounceAll();
    void Report() const;

    const int m_file;
    int m_stop = -1; // readable once the thread is to end
    std::mutex m_mutex;
    std::vector<std::shared_ptr<BoxBoard>> m_boards; // under m_mutex

    // The thread's own.
    QByteArray m_begun; // a line without its end
    bool m_isTooLong = false;
    long long m_lines = 0;
    long long m_leftOut = 0;
    QString m_firstReason; // with the number of its line

    std::thread m_thread; // from the first boards on
};
