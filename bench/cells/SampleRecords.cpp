#include "SampleRecords.h"

#include <cstdio>

namespace Bench
{

__tagQDrawGraphInfo Graphic(int type, int index, int points)
{
    __tagQDrawGraphInfo record = {};
    record.iGraphType = type;
    record.uiColor = static_cast<uint32_t>(index) * 2654435761u | 0x00FF00;
    record.iFontSize = 1;
    record.iPointNum = points;
    const int left = index * 37 % 1200;
    const int top = index * 53 % 660;
    static const int box[4][2] = {{0, 0}, {60, 0}, {60, 40}, {0, 40}};
    static const int strip[4][2] = {{0, 0}, {60, 0}, {0, 40}, {60, 40}};
    for (int i = 0; i < points; ++i) {
        const auto& corner = type == OVEL_GRAPH_OUTLINE ? box[i % 4] : strip[i % 4];
        record.stPoint[i] = {left + corner[0], top + corner[1]};
    }
    return record;
}

Records Labels(int count, int round)
{
    Records records;
    for (int i = 0; i < count; ++i) {
        __tagQDrawGraphInfo record = {};
        record.iGraphType = OVEL_GRAPH_TEXT;
        record.uiColor = 0x00FFFF;
        record.iFontSize = 12;
        record.iPointNum = 2;
        record.iTextCode = OVEL_TEXT_UTF8;
        record.stPoint[0] = {20 + i % 6 * 200, 30 + i / 6 * 80};
        record.stPoint[1] = {record.stPoint[0].x + 160, record.stPoint[0].y + 16};
        std::snprintf(record.szText, sizeof(record.szText), "camera %d: %d", i, 1000 + round);
        records.push_back(record);
    }
    return records;
}

} // namespace Bench
