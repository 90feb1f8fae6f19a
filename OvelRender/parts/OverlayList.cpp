#include "OverlayList.h"

#include <algorithm>
#include <cstring>

int OverlayList::Store(const void* data, int length, std::optional<Run> run)
{
    if (!data || length < 1) {
        return -1;
    }
    const QMutexLocker lock(&m_mutex);
    if (run && *run != m_run) {
        return 0;
    }
    m_records.resize(m_records.size() + 1); // zero: frames carry records by the thousand, one copy is enough
    __tagQDrawGraphInfo& record = m_records.last();
    std::memcpy(&record, data, std::min(static_cast<size_t>(length), sizeof(record)));
    if (record.iGraphType == OVEL_GRAPH_TEXT) {
        m_hasTexts = true;
    }
    ++m_serial;
    return 0;
}

void OverlayList::Clear()
{
    const QMutexLocker lock(&m_mutex);
    ClearLocked();
}

void OverlayList::ClearLocked()
{
    if (m_records.isEmpty()) {
        return;
    }
    m_records.resize(0);
    m_hasTexts = false;
    ++m_serial;
}

OverlayList::Started OverlayList::StartRun(Start start, std::optional<unsigned int> frameParam,
                                           std::atomic<unsigned int>& lastParam)
{
    const QMutexLocker lock(&m_mutex);
    if (start == Start::Emptied) {
        ClearLocked();
    }
    if (frameParam) {
        lastParam = *frameParam;
    }
    return {++m_run, lastParam};
}
