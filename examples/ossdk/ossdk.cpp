// A small stand-in for the OS SDK: a readable log, mutexes, the main lock, sleep and address conversion.
// Functions that are not here give their defaults in libOvelRender.
//
// The log goes to standard error, or to the end of the file named by OSSDK_LOG_FILE, one line per entry:
//
//     2024-05-01 12:34:56.789 ERROR file: CLS_ShaderYuv, func:InitGLYV12, line: 120 shader does not compile
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <new>
#include <pthread.h>
#include <string>
#include <sys/time.h>
#include <unistd.h>

#define OSSDK_API extern "C" __attribute__((visibility("default")))

struct LMutex1 {
    std::recursive_mutex mutex;
};

namespace
{

enum Level { Debug, Message, Error };

std::string Date()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    tm parts = {};
    localtime_r(&now.tv_sec, &parts);
    char text[40];
    const size_t length = std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts);
    std::snprintf(text + length, sizeof(text) - length, ".%03d", static_cast<int>(now.tv_usec / 1000));
    return text;
}

class Log
{
public:
    Log()
    {
        const char* path = std::getenv("OSSDK_LOG_FILE");
        FILE* file = path != nullptr && *path != '\0' ? std::fopen(path, "a") : nullptr;
        m_file = file != nullptr ? file : stderr;
    }

    ~Log()
    {
        if (m_file != stderr) {
            std::fclose(m_file);
        }
    }

    void Write(Level level, const std::string& date, const char* text)
    {
        const std::lock_guard<std::recursive_mutex> lock(m_mutex);
        static const char* const names[] = {"DEBUG  ", "MESSAGE", "ERROR  "};
        if (level >= m_levels[0]) {
            std::fprintf(m_file, "%s %s %s\n", date.c_str(), names[level], text);
            std::fflush(m_file);
        }
    }

    // The lock is held from Begin to End and lets its own thread through, so a plain line in between is no
    // deadlock.
    void Begin()
    {
        m_mutex.lock();
        m_date.clear();
        m_text.clear();
    }

    void AddDate() { m_date = Date(); }
    void Add(const char* text) { m_text += text; }

    void End(Level level, const char* text)
    {
        Write(level, m_date, (m_text + text).c_str());
        m_mutex.unlock();
    }

    void GetLevels(int* first, int* second)
    {
        const std::lock_guard<std::recursive_mutex> lock(m_mutex);
        *first = m_levels[0];
        *second = m_levels[1];
    }

    void SetLevels(int first, int second)
    {
        const std::lock_guard<std::recursive_mutex> lock(m_mutex);
        m_levels[0] = first;
        m_levels[1] = second;
    }

private:
    std::recursive_mutex m_mutex;
    FILE* m_file;
    int m_levels[2] = {Debug, 0}; // the least level that is written; the second is only kept
    std::string m_date;
    std::string m_text;
};

Log s_log;
LMutex1 s_mainLock;

int Lock(LMutex1* mutex)
{
    mutex->mutex.lock();
    return 0;
}

int Unlock(LMutex1* mutex)
{
    mutex->mutex.unlock();
    return 0;
}

} // namespace

// The texts come finished in the place of the format: they are written as they are, percent signs included.
OSSDK_API void sdk_log_debug(const char* format, ...)
{
    s_log.Write(Debug, Date(), format);
}

OSSDK_API void sdk_log_msg(const char* format, ...)
{
    s_log.Write(Message, Date(), format);
}

OSSDK_API void sdk_log_buf_lock()
{
    s_log.Begin();
}

OSSDK_API void sdk_log_buf_date()
{
    s_log.AddDate();
}

OSSDK_API void sdk_log_buf_msg(const char* format, ...)
{
    s_log.Add(format);
}

OSSDK_API void sdk_log_buf_msg_unlock(const char* format, ...)
{
    s_log.End(Message, format);
}

OSSDK_API void sdk_log_buf_quit_unlock(const char* format, ...)
{
    s_log.End(Message, format);
}

OSSDK_API void sdk_err_buf_msg_unlock(const char* format, ...)
{
    s_log.End(Error, format);
}

OSSDK_API void sdk_err_buf_quit_unlock(const char* format, ...)
{
    s_log.End(Error, format);
}

OSSDK_API void sdk_log_get_level(int* first, int* second)
{
    s_log.GetLevels(first, second);
}

OSSDK_API void sdk_log_set_level(int first, int second, int)
{
    s_log.SetLevels(first, second);
}

OSSDK_API LMutex1* sdk_mutex_create(int)
{
    return new (std::nothrow) LMutex1;
}

OSSDK_API int sdk_mutex_free(LMutex1* mutex)
{
    delete mutex;
    return 0;
}

OSSDK_API int sdk_mutex_lock(LMutex1* mutex)
{
    return Lock(mutex);
}

OSSDK_API int sdk_mutex_try_lock(LMutex1* mutex)
{
    return mutex->mutex.try_lock() ? 0 : -1;
}

OSSDK_API int sdk_mutex_unlock(LMutex1* mutex)
{
    return Unlock(mutex);
}

OSSDK_API int sdk_main_lock()
{
    return Lock(&s_mainLock);
}

OSSDK_API int sdk_main_unlock()
{
    return Unlock(&s_mainLock);
}

OSSDK_API unsigned long sdk_thread_self()
{
    return pthread_self();
}

OSSDK_API void sdk_os_sleep(int milliseconds)
{
    usleep(static_cast<useconds_t>(milliseconds) * 1000);
}

OSSDK_API int net_os_inet_pton(int family, const char* address, void* result)
{
    return inet_pton(family, address, result);
}
