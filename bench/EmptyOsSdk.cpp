// An OS SDK that does nothing: what benchmarks call and what the library logs.
#define EMPTY extern "C" __attribute__((visibility("default")))

EMPTY int sdk_os_set_timer_interval(int interval)
{
    return interval;
}

EMPTY int sdk_mutex_lock(void*)
{
    return 0;
}

EMPTY void sdk_log_msg(const char*, ...) {}
EMPTY void sdk_log_buf_lock() {}
EMPTY void sdk_log_buf_date() {}
EMPTY void sdk_log_buf_msg(const char*, ...) {}
EMPTY void sdk_err_buf_msg_unlock(const char*, ...) {}
