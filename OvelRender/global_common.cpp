#include "global_common.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <dlfcn.h>
#include <unistd.h>

namespace
{

constexpr int FieldLimit = static_cast<int>(sizeof(tagOsStrArray::pszItem) / sizeof(char*));
constexpr size_t PathBytes = 260;

char s_emptyText[1] = {};

FILE* File(void* file)
{
    return static_cast<FILE*>(file);
}

// How many continuation bytes a UTF-8 lead byte announces; -1 for a byte that cannot lead.
int ContinuationBytes(unsigned char lead)
{
    if (lead < 0x80) {
        return 0;
    }
    if (lead < 0xC0) {
        return -1;
    }
    if (lead < 0xE0) {
        return 1;
    }
    if (lead < 0xF0) {
        return 2;
    }
    if (lead < 0xF8) {
        return 3;
    }
    return lead == 0xFC || lead == 0xFD ? 5 : 4;
}

int IsUtf8BeyondAscii(const char* text, int length)
{
    bool plain = true;
    int expected = 0;
    for (int i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        plain = plain && byte < 0x80;
        if (expected > 0) {
            if ((byte & 0xC0) != 0x80) {
                return 0;
            }
            --expected;
            continue;
        }
        expected = ContinuationBytes(byte);
        if (expected < 0) {
            return 0;
        }
    }
    return expected == 0 && !plain ? 1 : 0;
}

} // namespace

int os_memcpy(void* dst, unsigned long dstSize, const void* src, unsigned long srcSize)
{
    if (dst == nullptr || src == nullptr) {
        return EINVAL;
    }
    std::memcpy(dst, src, dstSize < srcSize ? dstSize : srcSize);
    return 0;
}

int os_strcpy(const char* dst, const char* src, int size)
{
    if (dst == nullptr || src == nullptr) {
        return -1;
    }
    // The destination is const only in the exported name.
    char* text = const_cast<char*>(dst);
    if (size <= 0) {
        std::strcpy(text, src);
        return 0;
    }
    const size_t length = strnlen(src, static_cast<size_t>(size) - 1);
    std::memcpy(text, src, length);
    text[length] = '\0';
    return 0;
}

unsigned long long os_get_tick_count()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<unsigned long long>(now.tv_sec) * 1000 +
           static_cast<unsigned long long>(now.tv_nsec) / 1000000;
}

int os_usleep(int microseconds)
{
    return usleep(static_cast<useconds_t>(microseconds));
}

pthread_t os_get_cur_thread_id()
{
    return pthread_self();
}

int os_gettimeofday(timeval* tv, void*)
{
    return gettimeofday(tv, nullptr);
}

int os_split_str_to_arr(char* str, char delim, tagOsStrArray* arr)
{
    if (str == nullptr || arr == nullptr) {
        return -1;
    }
    arr->iCount = 0;
    for (char*& item : arr->pszItem) {
        item = s_emptyText;
    }
    int count = 1;
    arr->pszItem[0] = str;
    for (char* end = str + std::strlen(str); str < end; ++str) {
        if (*str != delim) {
            continue;
        }
        *str = '\0';
        if (str + 1 == end) {
            break;
        }
        if (count == FieldLimit) {
            return -1;
        }
        arr->pszItem[count++] = str + 1;
    }
    arr->iCount = count;
    return 0;
}

void os_to_lower(char* str)
{
    // Signed on purpose, also where char is unsigned: the C library's tables reach down to -128.
    for (; str != nullptr && *str != '\0'; ++str) {
        *str = static_cast<char>(std::tolower(static_cast<signed char>(*str)));
    }
}

int os_is_utf8_encoding(char* buf, int len)
{
    return IsUtf8BeyondAscii(buf, len);
}

int os_get_charset_code(char* buf, int len)
{
    return IsUtf8BeyondAscii(buf, len);
}

int os_is_wide_char(char* buf, int len)
{
    return IsUtf8BeyondAscii(buf, len);
}

int os_convert_video_size(int size)
{
    switch (size) {
    case 368:
        return 360;
    case 1088:
        return 1080;
    case 1624:
        return 1620;
    case 1808:
        return 1800;
    case 1952:
        return 1944;
    case 1968:
        return 1960;
    default:
        return size;
    }
}

int os_get_sdk_version()
{
    return 0;
}

void* os_fopen(const char* path, const char* mode, int, unsigned char, unsigned char)
{
    return path == nullptr || mode == nullptr ? nullptr : std::fopen(path, mode);
}

size_t os_fread(void* buf, unsigned int size, unsigned int count, void* file)
{
    return std::fread(buf, size, count, File(file));
}

size_t os_fwrite(const void* buf, unsigned int size, unsigned int count, void* file)
{
    return std::fwrite(buf, size, count, File(file));
}

int os_fseek(void* file, long long offset, int whence)
{
    return std::fseek(File(file), static_cast<long>(offset), whence);
}

long os_ftell(void* file)
{
    return std::ftell(File(file));
}

int os_feof(void* file)
{
    return std::feof(File(file));
}

int os_fclose(void* file)
{
    return std::fclose(File(file));
}

void* os_load_library(const char*, const char* name, void*, char* dir, int)
{
    // dlopen takes a null or empty name for the program itself, which is no library to load.
    if (name == nullptr || *name == '\0') {
        return nullptr;
    }
    char path[PathBytes] = {};
    const char* separator = dir != nullptr && *dir != '\0' ? "/" : "";
    const int length =
        std::snprintf(path, sizeof(path), "%s%s%s", *separator != '\0' ? dir : "", separator, name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof(path)) {
        return nullptr;
    }
    return dlopen(path, RTLD_LAZY);
}

void* os_dlsym_address(void* handle, const char* symbol)
{
    // A null handle would search the whole process and find strangers of the same name.
    return handle == nullptr || symbol == nullptr ? nullptr : dlsym(handle, symbol);
}

int os_free_library(void* handle)
{
    return handle == nullptr ? -1 : dlclose(handle);
}
