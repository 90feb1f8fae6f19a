#include "OvelHelpers.h"
#include "ProbeReference.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace
{

using Bytes = std::vector<unsigned char>;

// "c" stands for a start code, other words for bytes in hexadecimal.
Bytes Stream(const std::string& text)
{
    Bytes bytes;
    for (size_t at = 0; at < text.size(); at = text.find_first_not_of(' ', text.find(' ', at))) {
        const std::string word = text.substr(at, text.find(' ', at) - at);
        if (word == "c") {
            bytes.insert(bytes.end(), {0, 0, 1});
        } else {
            bytes.push_back(static_cast<unsigned char>(std::stoi(word, nullptr, 16)));
        }
    }
    return bytes;
}

int Length(const Bytes& bytes)
{
    return static_cast<int>(bytes.size());
}

const std::string Slices3 = " c 41 9a c 41 9a c 41 9a";
const std::string Sets264 = "c 67 42 00 1e c 68 ce 3c 80";

using Probe = int (*)(unsigned char*, int);
using Reference = int (*)(const unsigned char*, int);

void ExpectFound(int found, Probe probe, Reference reference, const std::string& begin,
                 const std::vector<std::string>& ends)
{
    for (const std::string& end : ends) {
        Bytes bytes = Stream(begin + end);
        EXPECT_EQ(probe(bytes.data(), Length(bytes)), found) << begin << end;
        EXPECT_EQ(reference(bytes.data(), Length(bytes)), found) << begin << end;
    }
}

TEST(Probes, KnownStreams)
{
    const auto expect264 = [](int found, const std::string& begin, const std::vector<std::string>& ends) {
        ExpectFound(found, H264_Probe, ReferenceH264, begin, ends);
    };
    const std::string last = " c 68 ce 3c 80 c 65 88 84 00";
    expect264(1, "", {"c 67 42 fc 1e" + last, Sets264 + Slices3 + " c 01 9a 00"});
    expect264(0, "",
              {"c 67 42 01 1e" + last, "c 67 42 02 1e" + last, "c 67 42 00 1e c 65 88 84 00", last.substr(1),
               Sets264 + Slices3 + " 00 00"});
    expect264(1, Sets264 + " c 65 88 84 00",
              {"", " c 06 05 00", " c 09 05 00 c 0a 05 00 c 0b 05 00 c 0c 05 00", " c 1f 05 00 c 20 05 00",
               " c 1f 05 00 c 0e 05 00 c 00 00 00", " c 13 05 00 c 13 05 00 c 73 05 00", " c 85 05"});
    expect264(0, Sets264 + " c 65 88 84 00",
              {" c 66 05 00", " c 85 05 00", " c 2c 05 00", " c 05 05 00", " c 0d 05 00",
               " c 1f 05 00 c 0e 05 00 c 00 00 01", " 00 c 85 05 00"});
    const auto expect265 = [](int found, const std::string& begin, const std::vector<std::string>& ends) {
        ExpectFound(found, H265_Probe, ReferenceH265, begin, ends);
    };
    const std::string irap = "c 42 01 c 44 01 c 26 01";
    expect265(0, "", {irap, "c 40 01 c 44 01 c 26 01", "c 40 01 c 42 01 c 26 01", "c 40 09 " + irap});
    expect265(1, "c 40 01 c 42 01 c 44 01", {" c 20 01", " c 2a 01"});
    expect265(0, "c 40 01 c 42 01 c 44 01", {" c 1e 01", " c 2c 01"});
    expect265(1, "c 40 01 " + irap, {"", " c 02 07", " c 80"});
    expect265(0, "c 40 01 " + irap, {" c 02 08", " c 03 01", " c 80 01"});
}

TEST(Probes, NoBuffer)
{
    unsigned char bytes[4] = {0, 0, 1, 0x67};
    for (const int length : {INT_MIN, -1, 0, 1, 2, 3, 4}) {
        EXPECT_EQ(H264_Probe(nullptr, length), -1);
        EXPECT_EQ(H265_Probe(nullptr, length), -1);
        EXPECT_EQ(H264_Probe(bytes, length), 0);
        EXPECT_EQ(H265_Probe(bytes, length), 0);
    }
}

// Buffers that end at an unmapped page, so that a byte read too far crashes.
class GuardedBuffer
{
public:
    GuardedBuffer()
    {
        m_pages = static_cast<unsigned char*>(
            mmap(nullptr, Capacity + Page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(m_pages + Capacity, Page, PROT_NONE);
    }
    ~GuardedBuffer() { munmap(m_pages, Capacity + Page); }
    unsigned char* End(size_t length) { return m_pages + Capacity - length; }

    static constexpr size_t Page = 4096, Capacity = 4 * Page;

private:
    unsigned char* m_pages;
};

// Units of one standard between random bytes, often few values, and now and then what makes a probe stumble.
void Fill(unsigned char* bytes, size_t length, std::mt19937& random)
{
    static const std::vector<Bytes> units = [] {
        std::vector<Bytes> made;
        for (const char* text : {"c 67 42 00 1e", "00 c 68 ce 3c", "c 65 88 84", "c 41 9a 00", "c 40 01",
                                 "c 42 01", "00 c 44 01", "c 26 01", "c", "00 00", "01", "c 00", "c 80",
                                 "c 00 00 00", "c 1f 01 01", "c 4e 01"}) {
            made.push_back(Stream(text));
        }
        return made;
    }();
    const size_t first = random() % 2 * 4;
    const size_t values = size_t{2} << (random() % 8);
    const size_t unitRarity = 1 + (random() & random() & 63);
    const size_t trapRarity = 1 + random() % 64;
    for (size_t at = 0; at < length;) {
        if (random() % unitRarity != 0) {
            bytes[at++] = static_cast<unsigned char>(random() % values);
            continue;
        }
        const Bytes& unit = units[random() % trapRarity == 0 ? 8 + random() % 8 : first + random() % 4];
        for (size_t i = 0; i < unit.size() && at < length; ++i) {
            bytes[at++] = unit[i];
        }
    }
}

TEST(Probes, AgreeWithTheReferenceOnRandomBuffers)
{
    std::mt19937 random(20240607);
    GuardedBuffer buffer;
    const auto searches = Searches();
    int found[2] = {0, 0};
    for (int round = 0; round < PROBE_ROUNDS; ++round) {
        const size_t length = random() % (round % 16 == 0 ? 1000 : 200);
        unsigned char* bytes = buffer.End(length);
        Fill(bytes, length, random);
        const int expected[2] = {ReferenceH264(bytes, static_cast<int>(length)),
                                 ReferenceH265(bytes, static_cast<int>(length))};
        ASSERT_EQ(H264_Probe(bytes, static_cast<int>(length)), expected[0]) << "round " << round;
        ASSERT_EQ(H265_Probe(bytes, static_cast<int>(length)), expected[1]) << "round " << round;
        for (const StartCodes::Search search : searches) {
            ASSERT_TRUE(FindsAll(search, bytes, length)) << "round " << round;
        }
        found[0] += expected[0];
        found[1] += expected[1];
    }
    EXPECT_GT(found[0], PROBE_ROUNDS / 1000);
    EXPECT_GT(found[1], PROBE_ROUNDS / 1000);
}

TEST(Probes, StreamsOfEncoders)
{
    const std::string path = "/tmp/ovel_" + std::to_string(getpid());
    for (const char* options :
         {"libx264 -preset medium -bf 2", "libx264 -profile:v baseline -g 5",
          "libx264 -x264-params slices=4:aud=1:intra-refresh=1", "libx265 -preset ultrafast",
          "libx265 -x265-params aud=1:keyint=4:slices=2:pools=1"}) {
        SCOPED_TRACE(options);
        const bool isH264 = options[6] == '4';
        const std::string command =
            "ffmpeg -y -f lavfi -i testsrc2=s=320x240:d=1:r=12 -pix_fmt yuv420p -c:v " +
            std::string(options) + " -f " + (isH264 ? "h264 " : "hevc ") + path +
            " </dev/null >/dev/null 2>&1";
        if (std::system(command.c_str()) != 0) {
            GTEST_SKIP() << "skipped: no ffmpeg with " << options;
        }
        std::ifstream file(path, std::ios::binary);
        Bytes bytes{std::istreambuf_iterator<char>(file), {}};
        unlink(path.c_str());
        ASSERT_GT(bytes.size(), 1000u);
        EXPECT_EQ(H264_Probe(bytes.data(), Length(bytes)), isH264);
        EXPECT_EQ(H265_Probe(bytes.data(), Length(bytes)), !isH264);
    }
}

} // namespace
