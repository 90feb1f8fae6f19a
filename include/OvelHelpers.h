/**
 * @file OvelHelpers.h
 * @brief Portable helpers of libOvelRender for C++ hosts:
 * bounded copies, time, files, text, and the stream probes.
 *
 * These functions have C++ linkage: their symbols carry the parameter types.
 *
 * @section helperthreads Threads
 * Every function may be called on any thread and keeps no state between calls. None allocates, apart from
 * what the standard functions behind the file wrappers do. None throws.
 */
#ifndef OVEL_HELPERS_H
#define OVEL_HELPERS_H

#include "OvelInterface.h"

#include <pthread.h>
#include <sys/time.h>

/** Result of #os_split_str_to_arr, allocated by the caller. */
struct tagOsStrArray {
    char* pszItem[512]; /**< +0 start of each field; from iCount on a shared empty string, never null */
    int32_t iCount;     /**< +4096 number of fields */
};
static_assert(sizeof(tagOsStrArray) == 4104, "tagOsStrArray is 4104 bytes");
static_assert(offsetof(tagOsStrArray, iCount) == 4096, "iCount");

/** @name Copies
 * @{ */
/** Copies as many bytes as both sides have. The regions must not overlap.
 * @param dst destination. @param dstSize bytes there. @param src source.
 * @param srcSize bytes there. @return 0; 22 (EINVAL) for a null pointer. */
OVEL_API int os_memcpy(void* dst, unsigned long dstSize, const void* src, unsigned long srcSize);
/** Copies a text, always terminated. @param dst destination (written, despite its type). @param src text.
 * @param size bytes at dst with the terminator:
 * the text is cut to size - 1 bytes. 0 or less: no bound, dst must have room.
 *  @return 0; -1 for a null pointer. */
OVEL_API int os_strcpy(const char* dst, const char* src, int size);
/** @} */

/** @name Time and threads
 * @{ */
/** The calendar clock; jumps when the clock is set. @return milliseconds since 1970-01-01 00:00 UTC. */
OVEL_API unsigned long long os_get_tick_count();
/** Sleeps. @param microseconds how long; as for `usleep`. @return the result of `usleep`. */
OVEL_API int os_usleep(int microseconds);
/** The calling thread. @return its `pthread_self`. */
OVEL_API pthread_t os_get_cur_thread_id();
/** The calendar clock. @param tv receives it. @param tz not used. @return the result of `gettimeofday`. */
OVEL_API int os_gettimeofday(timeval* tv, void* tz);
/** @} */

/** @name Text
 * @{ */
/**
 * Splits a text in place: every delimiter becomes a zero and fields are pointers into the text, which must
 * outlive them. A delimiter at the very end opens no field; an empty text is one empty field.
 * @param str text, overwritten. @param delim delimiter. @param arr receives the fields.
 * @return 0; -1 for a null pointer (nothing is touched) or for more than 512 fields (iCount is 0 then, and
 * the delimiters up to there are overwritten).
 */
OVEL_API int os_split_str_to_arr(char* str, char delim, tagOsStrArray* arr);
/** Lower-cases a text in place by `tolower` of the current locale. @param str text, or null for nothing. */
OVEL_API void os_to_lower(char* str);
/** Whether bytes are UTF-8 that is not plain ASCII. Looks at lead and continuation bytes only, also accepting
 * the old forms of five and six bytes; zero bytes are not special. @param buf bytes. @param len how many.
 * @return 1 yes; 0 no, also for plain ASCII, a text that ends inside a character, or a len below 1. */
OVEL_API int os_is_utf8_encoding(char* buf, int len);
/** The same as #os_is_utf8_encoding. @param buf bytes. @param len how many. @return 1 or 0 as there. */
OVEL_API int os_get_charset_code(char* buf, int len);
/** The same as #os_is_utf8_encoding. @param buf bytes. @param len how many. @return 1 or 0 as there. */
OVEL_API int os_is_wide_char(char* buf, int len);
/** @} */

/** @name Video
 * @{ */
/** Maps heights that coders pad (368, 1088, 1624, 1808, 1952, 1968) to the real ones (360, 1080, 1620, 1800,
 * 1944, 1960). @param size height in rows. @return the real height; every other value unchanged. */
OVEL_API int os_convert_video_size(int size);
/** Reserved. @return 0. */
OVEL_API int os_get_sdk_version();
/** Whether a buffer looks like an H.264 elementary stream with start codes: it has parameter sets and an IDR
 * slice, or four other slices, and no header that such a stream cannot hold. @param buf bytes, only read.
 * @param len how many.
 *  @return 1 yes, 0 no, -1 buf is null. */
OVEL_API int H264_Probe(unsigned char* buf, int len);
/** Whether a buffer looks like an H.265 elementary stream with start codes: it has the three parameter sets
 * and a random access picture, and no header that such a stream cannot hold. @param buf bytes, only read.
 * @param len how many. @return 1 yes, 0 no, -1 buf is null. */
OVEL_API int H265_Probe(unsigned char* buf, int len);
/** @} */

/** @name Files
 * The standard functions without their prefix. Apart from #os_fopen they test nothing: pass a file from
 * #os_fopen that is not closed yet.
 * @{ */
/** Opens a file. @param path file. @param mode as for `fopen`.
 * @param reserved1 not used. @param reserved2 not used.
 *  @param reserved3 not used. @return the file, closed by #os_fclose; null for a null argument or as `fopen`.
 */
OVEL_API void* os_fopen(const char* path, const char* mode, int reserved1, unsigned char reserved2,
                        unsigned char reserved3);
/** Reads items. @param buf receives them. @param size bytes per item.
 * @param count items. @param file open file.
 *  @return items read. */
OVEL_API size_t os_fread(void* buf, unsigned int size, unsigned int count, void* file);
/** Writes items. @param buf items. @param size bytes per item. @param count items. @param file open file.
 * @return items written. */
OVEL_API size_t os_fwrite(const void* buf, unsigned int size, unsigned int count, void* file);
/** Moves the position. @param file open file. @param offset bytes.
 * @param whence SEEK_SET, SEEK_CUR or SEEK_END.
 *  @return 0, or -1 as `fseek`. */
OVEL_API int os_fseek(void* file, long long offset, int whence);
/** The position. @param file open file. @return bytes from the start, or -1 as `ftell`. */
OVEL_API long os_ftell(void* file);
/** Whether the end was met. @param file open file. @return nonzero after a read met the end. */
OVEL_API int os_feof(void* file);
/** Closes a file. @param file open file. @return 0, or EOF as `fclose`. */
OVEL_API int os_fclose(void* file);
/** @} */

/** @name Dynamic loading
 * @{ */
/** Opens a library by `dlopen`. @param reserved1 not used. @param name file name. @param reserved2 not used.
 * @param dir its directory, or null or empty for the search of `dlopen`. @param reserved3 not used. @return a
 * handle, closed by #os_free_library; null when it cannot be opened, the name is null or empty, or directory,
 * separator and name need more than 259 bytes. */
OVEL_API void* os_load_library(const char* reserved1, const char* name, void* reserved2, char* dir,
                               int reserved3);
/** Looks a symbol up. @param handle from #os_load_library. @param symbol its name. @return its address; null
 * when the library lacks it or an argument is null. */
OVEL_API void* os_dlsym_address(void* handle, const char* symbol);
/** Closes a library. @param handle from #os_load_library. @return the result of `dlclose`; -1 for null. */
OVEL_API int os_free_library(void* handle);
/** @} */

#endif
