// The overlay records of the picture: who may add to them, what counts as a change. Any thread.
#pragma once

#include "OvelInterface.h"

#include <QMutex>
#include <QMutexLocker>
#include <QVector>

#include <atomic>
#include <optional>

class OverlayList
{
public:
    // One run of the host's callback. A run that begins takes the list over from all earlier ones: what those
    // still send is of a picture or a size that is no more.
    using Run = uint64_t;
    enum class Start { Emptied, AsItIs };

    OverlayList(QMutex& mutex, QVector<__tagQDrawGraphInfo>& records) : m_mutex(mutex), m_records(records) {}
    OverlayList(const OverlayList&) = delete;
    OverlayList& operator=(const OverlayList&) = delete;

    // Appends a record, cut or padded with zeroes to its size. A record of a run that was overtaken is taken
    // and dropped; one without a run belongs to the picture that is there. 0, or -1 for no record.
    int Store(const void* data, int length, std::optional<Run> run);
    void Clear();

    struct Started {
        Run run;
        unsigned int frameParam;
    };
    // Begins a run for the frame of this parameter, or for the one of the last run when there is none given.
    Started StartRun(Start start, std::optional<unsigned int> frameParam,
                     std::atomic<unsigned int>& lastParam);

    // Calls reader(records, serial) with the list as it stands.
    template <typename Reader> void Read(const Reader& reader)
    {
        const QMutexLocker lock(&m_mutex);
        reader(m_records, m_serial.load());
    }

    // For a glance without the lock: a serial that rises after each change, never before it; whether there
    // are text records.
    quint64 Serial() const { return m_serial; }
    bool HasTexts() const { return m_hasTexts; }

private:
    void ClearLocked();

    QMutex& m_mutex;
    QVector<__tagQDrawGraphInfo>& m_records;
    Run m_run = 0; // the one that may add
    std::atomic<quint64> m_serial{1};
    std::atomic<bool> m_hasTexts{false};
};
