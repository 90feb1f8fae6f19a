#include "OsCoreApi.h"

#include "global_common.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <utility>

namespace
{

// Held while the handle and the table change. Not while a library is opened or closed: that runs constructors and
// destructors, which may load the OS SDK themselves. The forwarders never take it.
std::mutex s_mutexLoader;

constexpr int TextBytes = 4096;

void WriteNotice(int line, const char* name)
{
    std::fprintf(stderr, "%d,%s", line, name);
}

// The table's functions, in its order.
#define OVEL_SDK_FUNCTION(result, name, parameters, arguments, fallback) #name,
#define OVEL_SDK_PROCEDURE(name, parameters, arguments) #name,
#define OVEL_SDK_TEXT(name) #name,
constexpr const char* Names[] = {
#include "OsSdkFunctions.def"
};
using Addresses = std::array<void*, std::size(Names)>;

// Null for what the library lacks.
Addresses LookUp(void* library)
{
    Addresses addresses = {};
    std::transform(std::begin(Names), std::end(Names), addresses.begin(),
                   [library](const char* name) { return os_dlsym_address(library, name); });
    return addresses;
}

template <typename Function> void Store(std::atomic<Function>& entry, void* address)
{
    static_assert(sizeof(entry) == sizeof(void*) && std::atomic<Function>::is_always_lock_free,
                  "an entry is one pointer in the table");
    entry.store(reinterpret_cast<Function>(address), std::memory_order_release);
}

void StoreEntries(CLS_OsCoreApi& api, const Addresses& addresses)
{
    void* const* next = addresses.data();
#define OVEL_SDK_FUNCTION(result, name, parameters, arguments, fallback) Store(api.m_pfn_##name, *next++);
#define OVEL_SDK_PROCEDURE(name, parameters, arguments) Store(api.m_pfn_##name, *next++);
#define OVEL_SDK_TEXT(name) Store(api.m_pfn_##name, *next++);
#include "OsSdkFunctions.def"
}

void* Library(const CLS_OsCoreApi& api)
{
    const std::lock_guard<std::mutex> lock(s_mutexLoader);
    return api.m_hOsCoreLib;
}

// The entries go first: a call that starts while dlclose runs must not find an address any more. False when
// there is no library.
bool CloseLibrary(CLS_OsCoreApi& api)
{
    void* library = nullptr;
    {
        const std::lock_guard<std::mutex> lock(s_mutexLoader);
        library = std::exchange(api.m_hOsCoreLib, nullptr);
        if (library != nullptr) {
            StoreEntries(api, {});
        }
    }
    os_free_library(library);
    return library != nullptr;
}

void* OpenLibrary(const char* reserved1, void* reserved2, const char* dir)
{
    // The second name serves hosts that install the library under one name on every system.
    for (const char* name : {"libossdk.so", "libossdk.dylib"}) {
        void* library = os_load_library(reserved1, name, reserved2, const_cast<char*>(dir), 0);
        if (library != nullptr) {
            return library;
        }
    }
    return nullptr;
}

// The text as the OS SDK gets it: the last byte of the buffer stays zero whatever vsnprintf does.
struct Text {
    char bytes[TextBytes] = {};

    void Format(const char* format, va_list arguments) __attribute__((format(printf, 2, 0)))
    {
        // The analyser does not follow va_start from the callers.
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
        std::vsnprintf(bytes, TextBytes - 1, format, arguments);
    }
};

} // namespace

#define OVEL_SDK_FUNCTION(result, name, parameters, arguments, fallback) m_pfn_##name(nullptr),
#define OVEL_SDK_PROCEDURE(name, parameters, arguments) m_pfn_##name(nullptr),
#define OVEL_SDK_TEXT(name) m_pfn_##name(nullptr),
CLS_OsCoreApi::CLS_OsCoreApi()
    :
#include "OsSdkFunctions.def"
      m_hOsCoreLib(nullptr)
{
}

// Does not close the library: threads may still log while the process ends.
CLS_OsCoreApi::~CLS_OsCoreApi() {}

CLS_OsCoreApi* CLS_OsCoreApi::Instance()
{
    static CLS_OsCoreApi s_api;
    return &s_api;
}

int CLS_OsCoreApi::LoadOsCoreLib()
{
    const std::lock_guard<std::mutex> lock(s_mutexLoader); // the library must not go while it is looked into
    StoreEntries(*this, LookUp(m_hOsCoreLib));
    return 0;
}

int CLS_OsCoreApi::ReleaseOsCoreLib()
{
    CloseLibrary(*this);
    return 0;
}

// Each entry is loaded once into a local: it may be cleared between a test and a call.
#define OVEL_SDK_FUNCTION(result, name, parameters, arguments, fallback)                                     \
    result CLS_OsCoreApi::inner_##name parameters                                                            \
    {                                                                                                        \
        if (const auto function = m_pfn_##name.load(std::memory_order_acquire)) {                            \
            return function arguments;                                                                       \
        }                                                                                                    \
        WriteNotice(__LINE__, "inner_" #name);                                                               \
        return fallback;                                                                                     \
    }
#define OVEL_SDK_PROCEDURE(name, parameters, arguments)                                                      \
    void CLS_OsCoreApi::inner_##name parameters                                                              \
    {                                                                                                        \
        if (const auto function = m_pfn_##name.load(std::memory_order_acquire)) {                            \
            function arguments;                                                                              \
            return;                                                                                          \
        }                                                                                                    \
        WriteNotice(__LINE__, "inner_" #name);                                                               \
    }
#define OVEL_SDK_TEXT(name)                                                                                  \
    void CLS_OsCoreApi::inner_##name(const char* text)                                                       \
    {                                                                                                        \
        if (const auto function = m_pfn_##name.load(std::memory_order_acquire)) {                            \
            function(text);                                                                                  \
            return;                                                                                          \
        }                                                                                                    \
        WriteNotice(__LINE__, "inner_" #name);                                                               \
    }
#include "OsSdkFunctions.def"

extern "C" {

int LoadOSSDK(const char* dir)
{
    const char reserved1[256] = {};
    return LoadOsCore(reserved1, nullptr, dir);
}

int LoadOsCore(const char* reserved1, void* reserved2, const char* dir)
{
    CLS_OsCoreApi* api = CLS_OsCoreApi::Instance();
    if (Library(*api) != nullptr) {
        return 0;
    }
    void* library = OpenLibrary(reserved1, reserved2, dir);
    const Addresses addresses = LookUp(library);
    {
        const std::lock_guard<std::mutex> lock(s_mutexLoader);
        if (api->m_hOsCoreLib == nullptr && library != nullptr) {
            api->m_hOsCoreLib = library;
            StoreEntries(*api, addresses);
            return 0;
        }
    }
    os_free_library(library); // another one was first
    return Library(*api) != nullptr ? 0 : -1;
}

unsigned char ReleaseOSSDK()
{
    if (CloseLibrary(*CLS_OsCoreApi::Instance())) {
        return 1;
    }
    WriteNotice(__LINE__, "ReleaseOSSDK");
    return 0;
}

#define OVEL_SDK_FUNCTION(result, name, parameters, arguments, fallback)                                     \
    result api_##name parameters                                                                             \
    {                                                                                                        \
        return CLS_OsCoreApi::Instance()->inner_##name arguments;                                            \
    }
#define OVEL_SDK_PROCEDURE(name, parameters, arguments)                                                      \
    void api_##name parameters                                                                               \
    {                                                                                                        \
        CLS_OsCoreApi::Instance()->inner_##name arguments;                                                   \
    }
#define OVEL_SDK_TEXT(name)
#include "OsSdkFunctions.def"

// The variadic functions cannot come from the table; each formats and hands the finished text on.
#define OVEL_FORMAT_TEXT(text, format)                                                                       \
    Text text;                                                                                               \
    va_list arguments;                                                                                       \
    va_start(arguments, format);                                                                             \
    text.Format(format, arguments);                                                                          \
    va_end(arguments)

void api_sdk_log_debug(const char* format, ...)
{
    OVEL_FORMAT_TEXT(text, format);
    CLS_OsCoreApi::Instance()->inner_sdk_log_debug(text.bytes);
}

void api_sdk_log_msg(const char* format, ...)
{
    OVEL_FORMAT_TEXT(text, format);
    CLS_OsCoreApi::Instance()->inner_sdk_log_msg(text.bytes);
}

void api_sdk_log_buf_msg(const char* format, ...)
{
    OVEL_FORMAT_TEXT(text, format);
    CLS_OsCoreApi::Instance()->inner_sdk_log_buf_msg(text.bytes);
}

void api_sdk_log_buf(const char* format, ...)
{
    OVEL_FORMAT_TEXT(text, format);
    CLS_OsCoreApi::Instance()->inner_sdk_log_buf_msg(text.bytes);
}

void api_sdk_log_buf_msg_unlock(const char* format, ...)
{
    OVEL_FORMAT_TEXT(text, format);
    CLS_OsCoreApi::Instance()->inner_sdk_log_buf_msg_unlock(text.bytes);
}

void api_sdk_log_buf_quit_unlock(const char* format, ...)
{
    OVEL_FORMAT_TEXT(text, format);
    CLS_OsCoreApi::Instance()->inner_sdk_log_buf_quit_unlock(text.bytes);
}

void api_sdk_err_buf_msg_unlock(const char* format, ...)
{
    OVEL_FORMAT_TEXT(text, format);
    CLS_OsCoreApi::Instance()->inner_sdk_err_buf_msg_unlock(text.bytes);
}

void api_sdk_err_buf_quit_unlock(const char* format, ...)
{
    OVEL_FORMAT_TEXT(text, format);
    CLS_OsCoreApi::Instance()->inner_sdk_err_buf_quit_unlock(text.bytes);
}

int api_check_sdk_log_level()
{
    return 1;
}

} // extern "C"

void LogError(const char* file, const char* function, int line, const char* format, ...)
{
    OVEL_FORMAT_TEXT(text, format);
    api_sdk_log_buf_lock();
    api_sdk_log_buf_date();
    api_sdk_log_buf_msg("file: %s, func:%s, line: %d ", file, function, line);
    CLS_OsCoreApi::Instance()->inner_sdk_err_buf_msg_unlock(text.bytes);
}
