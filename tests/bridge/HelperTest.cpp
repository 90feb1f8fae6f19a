#include "OvelHelpers.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <ctime>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace
{

TEST(Helpers, Copies)
{
    const struct {
        unsigned long room, given;
        const char* expected;
    } copies[] = {{4, 10, "0123------"}, {10, 4, "0123------"}, {0, 3, "----------"}, {10, 10, "0123456789"}};
    for (const auto& one : copies) {
        char target[] = "----------";
        EXPECT_EQ(os_memcpy(target, one.room, "0123456789", one.given), 0);
        EXPECT_EQ(os_memcpy(target, 4, nullptr, 4), 22);
        EXPECT_EQ(os_memcpy(nullptr, 4, target, 4), 22);
        EXPECT_STREQ(target, one.expected);
    }
    const struct {
        std::string source;
        int size;
        std::string expected;
    } texts[] = {{"abcdef", 4, "abc"}, {"ab", 4, "ab"},         {"abcd", 4, "abc"},      {"abc", 1, ""},
                 {"", 1, ""},          {"abcdef", 0, "abcdef"}, {"abcdef", -3, "abcdef"}};
    for (const auto& one : texts) {
        std::string target(12, '#');
        EXPECT_EQ(os_strcpy(target.data(), one.source.c_str(), one.size), 0);
        EXPECT_EQ(os_strcpy(target.data(), nullptr, 4), -1);
        EXPECT_EQ(os_strcpy(nullptr, "a", 4), -1);
        EXPECT_EQ(target, one.expected + '\0' + std::string(11 - one.expected.size(), '#')) << one.source;
    }
}

TEST(Helpers, Split)
{
    using Fields = std::vector<std::string>;
    const std::string full = std::string(511, ',') + "x";
    Fields fullFields(512);
    fullFields.back() = "x";
    const struct {
        std::string text;
        int result;
        Fields fields;
    } cases[] = {{"a,b,c", 0, {"a", "b", "c"}},
                 {",a,,b", 0, {"", "a", "", "b"}},
                 {"a,", 0, {"a"}},
                 {",,", 0, {"", ""}},
                 {"", 0, {""}},
                 {"a;b", 0, {"a;b"}},
                 {full, 0, fullFields},
                 {full + ",", 0, fullFields},
                 {full + ",y,z", -1, {}}};
    for (const auto& one : cases) {
        std::string text = one.text;
        tagOsStrArray array;
        std::memset(&array, 0x5A, sizeof(array));
        EXPECT_EQ(os_split_str_to_arr(text.data(), ',', &array), one.result) << one.text;
        ASSERT_EQ(array.iCount, static_cast<int>(one.fields.size())) << one.text;
        for (int i = 0; one.result == 0 && i < 512; ++i) {
            ASSERT_STREQ(array.pszItem[i],
                         i < array.iCount ? one.fields[static_cast<size_t>(i)].c_str() : "");
            ASSERT_TRUE(i < array.iCount || array.pszItem[i] == array.pszItem[511] || array.iCount == 512);
        }
        EXPECT_EQ(text.find(','), one.result == 0 ? std::string::npos : one.text.find(",z")) << one.text;
    }
    tagOsStrArray array;
    array.iCount = 77;
    char text[] = "a,b";
    EXPECT_EQ(os_split_str_to_arr(nullptr, ',', &array), -1);
    EXPECT_EQ(os_split_str_to_arr(text, ',', nullptr), -1);
    EXPECT_EQ(array.iCount, 77);
    EXPECT_STREQ(text, "a,b");
}

TEST(Helpers, LettersAndHeights)
{
    char text[] = "AbZ[@`{09\xC3\x89\xFF";
    os_to_lower(text);
    EXPECT_STREQ(text, "abz[@`{09\xC3\x89\xFF");
    os_to_lower(nullptr);
    const int known[][2] = {{368, 360}, {1088, 1080}, {1624, 1620}, {1808, 1800}, {1952, 1944}, {1968, 1960}};
    for (int size = -5, next = 0; size < 5000; ++size) {
        const bool isKnown = next < 6 && size == known[next][0];
        EXPECT_EQ(os_convert_video_size(size), isKnown ? known[next][1] : size);
        next += isKnown;
    }
    EXPECT_EQ(os_get_sdk_version(), 0);
}

std::vector<std::string> Words(const std::string& text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

TEST(Helpers, Utf8)
{
    std::vector<std::string> yes =
        Words("\xC3\xA9 \xE4\xB8\xADz \xDF\xBF \xE0\x80\x80 \xEF\xBF\xBF \xF0\x80\x80\x80 "
              "\xF7\x80\x80\x80 \xF8\x80\x80\x80\x80 \xFB\x80\x80\x80\x80 \xFC\x80\x80\x80\x80\x80 "
              "\xFD\x80\x80\x80\x80\x80 \xFE\x80\x80\x80\x80 \xFF\x80\x80\x80\x80");
    yes.emplace_back("\0\xC0\x80", 3);
    std::vector<std::string> no =
        Words("abc \xC3 \xA9 a\xBF \xC3z \xC3\xC3 \xEF\xBF \xF8\x80\x80\x80 \xFC\x80\x80\x80\x80 "
              "\xFF\x80\x80\x80\x80\x80");
    no.insert(no.end(), {std::string("a\0b", 3), ""});
    for (const auto* texts : {&yes, &no}) {
        for (std::string text : *texts) {
            for (auto test : {os_is_utf8_encoding, os_get_charset_code, os_is_wide_char}) {
                EXPECT_EQ(test(text.data(), static_cast<int>(text.size())), texts == &yes) << text;
                EXPECT_EQ(test(text.data(), -1), 0);
            }
        }
    }
}

TEST(Helpers, Time)
{
    const auto now = [] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    const auto before = now();
    const auto ticks = static_cast<long long>(os_get_tick_count());
    EXPECT_EQ(os_usleep(20000), 0);
    const auto later = static_cast<long long>(os_get_tick_count());
    EXPECT_GE(ticks, before);
    EXPECT_GE(later, ticks + 19);
    EXPECT_LE(later, now());
    timeval value = {};
    EXPECT_EQ(os_gettimeofday(&value, reinterpret_cast<void*>(8)), 0);
    EXPECT_GE(value.tv_sec, later / 1000);
    EXPECT_EQ(os_get_cur_thread_id(), pthread_self());
}

TEST(Helpers, Files)
{
    const std::string path = "/tmp/ovel_file_" + std::to_string(getpid());
    EXPECT_EQ(os_fopen(nullptr, "rb", 0, 0, 0), nullptr);
    EXPECT_EQ(os_fopen(path.c_str(), "rb", 0, 0, 0), nullptr);
    void* file = os_fopen(path.c_str(), "w+b", 9, 9, 9);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(os_fwrite("0123456789abcdef", 4, 3, file), 3u);
    EXPECT_EQ(os_ftell(file), 12);
    EXPECT_EQ(os_fseek(file, -10, SEEK_END), 0);
    char bytes[17] = {};
    EXPECT_EQ(os_fread(bytes, 4, 4, file), 2u);
    EXPECT_STREQ(bytes, "23456789ab");
    EXPECT_NE(os_feof(file), 0);
    EXPECT_EQ(os_fseek(file, 0x180000000, SEEK_SET), 0);
    EXPECT_EQ(os_ftell(file), 0x180000000);
    EXPECT_EQ(os_feof(file), 0);
    EXPECT_EQ(os_fseek(file, -1, SEEK_SET), -1);
    EXPECT_EQ(os_fclose(file), 0);
    unlink(path.c_str());
}

} // namespace
