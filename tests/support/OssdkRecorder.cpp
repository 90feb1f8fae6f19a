#include "OssdkRecorder.h"

#include <cstdio>
#include <mutex>
#include <utility>

#define RECORDER_API __attribute__((visibility("default")))

namespace
{

std::mutex linesLock;
std::vector<std::string> lines;
std::recursive_mutex bufferLock; // held from sdk_log_buf_lock to the entry's end, as the real one does
std::string location;
std::function<void(const std::string&)> whenLogged;

void Keep(const std::string& line)
{
    const std::lock_guard<std::mutex> guard(linesLock);
    lines.push_back(line);
    if (whenLogged) {
        whenLogged(line);
    }
}

} // namespace

RECORDER_API std::vector<std::string> TakeLogLines()
{
    const std::lock_guard<std::mutex> guard(linesLock);
    return std::exchange(lines, {});
}

RECORDER_API void WhenLogged(std::function<void(const std::string& line)> call)
{
    const std::lock_guard<std::mutex> guard(linesLock);
    whenLogged = std::move(call);
}

extern "C" {

RECORDER_API void sdk_log_msg(const char* text, ...)
{
    Keep(text);
}
RECORDER_API void sdk_log_buf_lock()
{
    bufferLock.lock();
}
RECORDER_API void sdk_log_buf_date()
{
    location.clear();
}

RECORDER_API void sdk_log_buf_msg(const char* text, ...)
{
    char source[64] = "";
    char function[64] = "";
    if (std::sscanf(text, "file: %63[^,], func:%63[^,]", source, function) == 2) {
        location = std::string(source) + "|" + function + "|";
    }
}

RECORDER_API void sdk_err_buf_msg_unlock(const char* text, ...)
{
    Keep("E " + location + text);
    bufferLock.unlock();
}
}
