// What a tile says over its picture while its source gives none: a text in the middle, pushed as a text record
// with every run of the draw callback.
#pragma once

#include <OvelInterface.h>

#include <mutex>
#include <string>

class LossLabel
{
public:
    // Any thread. Up to two lines; shown from the next run of the callback on. Both empty: no label.
    void SetText(const std::string& line, const std::string& smallPrint);
    // In the draw callback.
    void Send(const __tagQDrawCallbackInfo& info);

private:
    std::mutex m_mutex;
    __tagQDrawGraphInfo m_label{}; // under m_mutex
};
