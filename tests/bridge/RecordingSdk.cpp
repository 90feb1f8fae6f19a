// A stand-in for the OS SDK that notes every call, argument for argument.
#include "OvelOsSdk.h"
#include "Recording.h"

#include <algorithm>
#include <cstdio>
#include <mutex>

namespace
{

std::mutex s_mutex;
Recording s_recording;

template <typename... Arguments> RecordedCall Pack(Arguments... arguments)
{
    return {{}, sizeof...(arguments), {ToBits(arguments)...}, {}};
}

template <typename Result> Result Record(const char* name, const RecordedCall& call, const char* text = "")
{
    const std::lock_guard<std::mutex> lock(s_mutex);
    RecordedCall& entry = s_recording.first[std::min(s_recording.calls++, 7)];
    entry = call;
    std::snprintf(entry.name, sizeof(entry.name), "%s", name);
    std::snprintf(entry.text, sizeof(entry.text), "%s", text);
    if constexpr (!std::is_void_v<Result>) {
        return FromBits<Result>(s_recording.result);
    }
}

// An OS SDK may look for itself while it is loaded; not every program here has the function.
#pragma weak LoadOSSDK
const int s_lookedFor = LoadOSSDK != nullptr ? LoadOSSDK("/nonexistent") : 0;

} // namespace

extern "C" {

OVEL_API Recording* recording()
{
    return &s_recording;
}

#define SDK_CHAR int
#define SDK_CALL(fallback, result, name, parameters, arguments)                                              \
    OVEL_API result name parameters                                                                          \
    {                                                                                                        \
        return Record<result>(#name, Pack arguments);                                                        \
    }
#define SDK_TEXT(name)                                                                                       \
    OVEL_API void name(const char* text, ...)                                                                \
    {                                                                                                        \
        Record<void>(#name, Pack(text), text);                                                               \
    }
#ifdef WITHOUT_INET_PTON
#define net_os_inet_pton another_inet_pton
#endif
#include "SdkList.inc"
}
