// The process-wide bridge to the OS SDK: one table of entries, read one pointer at a time by any thread.
#pragma once

#include "OvelOsSdk.h"

#include <atomic>

class OVEL_API CLS_OsCoreApi
{
public:
    CLS_OsCoreApi();
    ~CLS_OsCoreApi();
    CLS_OsCoreApi(const CLS_OsCoreApi&) = delete;
    CLS_OsCoreApi& operator=(const CLS_OsCoreApi&) = delete;

    static CLS_OsCoreApi* Instance();

    // Resolves every entry from m_hOsCoreLib; null for what the library lacks. Always 0.
    int LoadOsCoreLib();
    // Clears the entries, then closes the library if there is one. Always 0.
    int ReleaseOsCoreLib();

#define OVEL_SDK_FUNCTION(result, name, parameters, arguments, fallback) result inner_##name parameters;
#define OVEL_SDK_PROCEDURE(name, parameters, arguments) void inner_##name parameters;
#define OVEL_SDK_TEXT(name) void inner_##name(const char* text);
#include "OsSdkFunctions.def"

// The OS SDK's functions in the order of the table, null while not resolved. A reader takes one atomic load
// and works on that value: a pointer can become null between two loads.
#define OVEL_SDK_FUNCTION(result, name, parameters, arguments, fallback)                                     \
    std::atomic<result(*) parameters> m_pfn_##name;
#define OVEL_SDK_FUNCTION_AS(result, name, sdkParameters, parameters, arguments, fallback)                   \
    std::atomic<result(*) sdkParameters> m_pfn_##name;
#define OVEL_SDK_PROCEDURE(name, parameters, arguments) std::atomic<void(*) parameters> m_pfn_##name;
#define OVEL_SDK_TEXT(name) std::atomic<void (*)(const char*, ...)> m_pfn_##name;
#include "OsSdkFunctions.def"

    // The handle from dlopen, null while nothing is loaded. Changed under the loader's mutex only.
    void* m_hOsCoreLib;
};

// Writes a located error entry to the log. file is the caller's source file without directory and extension.
void LogError(const char* file, const char* function, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
