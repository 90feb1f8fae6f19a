#include "BridgeFixture.h"
#include "OvelHelpers.h"

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

namespace
{

namespace fs = std::filesystem;

class LoaderTest : public BridgeTest
{
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/ovel_XXXXXX";
        m_dir = mkdtemp(pattern);
    }

    void TearDown() override
    {
        BridgeTest::TearDown();
        fs::remove_all(m_dir);
    }

    void Install(const std::string& name) const
    {
        fs::copy_file(RecordingDir + "/libossdk.so", m_dir + "/" + name);
    }

    std::string m_dir;
};

std::string Padded(const std::string& dir, size_t length)
{
    return dir + std::string(length - dir.size(), '/');
}

TEST_F(LoaderTest, OpensTheFileOfADirectory)
{
    Install("libossdk.dylib");
    EXPECT_EQ(LoadOSSDK(m_dir.c_str()), 0);
    EXPECT_EQ(MappedPath(m_dir + "/libossdk.dylib"), m_dir + "/libossdk.dylib");
    EXPECT_EQ(ReleaseOSSDK(), 1);
    Install("libossdk.so");
    EXPECT_EQ(LoadOsCore(nullptr, nullptr, (m_dir + "/").c_str()), 0);
    EXPECT_EQ(MappedPath(m_dir + "/libossdk.so"), m_dir + "//libossdk.so");
    EXPECT_EQ(MappedPath(m_dir + "/libossdk.dylib"), "");
}

TEST_F(LoaderTest, RefusesADirectoryThatDoesNotFit)
{
    Install("libossdk.dylib");
    EXPECT_EQ(LoadOSSDK(Padded(m_dir, 245).c_str()), -1);
    EXPECT_EQ(LoadOSSDK(Padded(m_dir, 244).c_str()), 0);
    EXPECT_EQ(ReleaseOSSDK(), 1);
    // The names that a cut path would end with.
    for (const char* name : {"libossdk.so", "libossdk.s", "libossdk.", "l"}) {
        Install(name);
    }
    for (const size_t length : {248u, 249u, 250u, 258u, 260u, 300u, 5000u}) {
        EXPECT_EQ(LoadOSSDK(Padded(m_dir, length).c_str()), -1) << length;
    }
    EXPECT_EQ(LoadOSSDK(Padded(m_dir, 247).c_str()), 0);
}

TEST_F(LoaderTest, LoadsAreNotCounted)
{
    Install("libossdk.so");
    const std::string file = m_dir + "/libossdk.so";
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(LoadOSSDK(m_dir.c_str()), 0);
        EXPECT_EQ(LoadOSSDK(m_dir.c_str()), 0);
        EXPECT_EQ(LoadOSSDK("/nonexistent"), 0);
        EXPECT_NE(MappedPath(file), "");
        EXPECT_EQ(api_check_sdk_log_level(), 1);
        EXPECT_EQ(ReleaseOSSDK(), 1);
        EXPECT_EQ(MappedPath(file), "");
        EXPECT_EQ(api_check_sdk_log_level(), 1);
        const std::string notice = Notices([] { EXPECT_EQ(ReleaseOSSDK(), 0); });
        EXPECT_TRUE(IsNotice(notice, "ReleaseOSSDK")) << notice;
    }
    EXPECT_EQ(Notices([] { EXPECT_EQ(LoadOSSDK("/nonexistent"), -1); }), "");
}

// A second open would leave the library mapped after the one release. Callers on other threads see a function or
// its default, and nothing else, while the library comes.
TEST_F(LoaderTest, ThreadsThatLoadAtOnceOpenItOnce)
{
    Install("libossdk.so");
    std::string notices = Notices([&] {
        for (int round = 0; round < 100; ++round) {
            std::atomic<int> waiting{4};
            std::atomic<int> failed{0};
            std::vector<std::thread> threads;
            for (int i = 0; i < 4; ++i) {
                threads.emplace_back([&, i] {
                    for (--waiting; waiting > 0;) {
                    }
                    failed += i == 0 ? api_net_tcp_client_open(nullptr, 1) : LoadOSSDK(m_dir.c_str());
                });
            }
            for (std::thread& thread : threads) {
                thread.join();
            }
            ASSERT_EQ(failed, 0);
            ASSERT_EQ(ReleaseOSSDK(), 1);
            ASSERT_EQ(MappedPath(m_dir + "/libossdk.so"), "") << "round " << round;
        }
    });
    while (TakeNotice(notices, "inner_net_tcp_client_open")) {
    }
    EXPECT_EQ(notices, "");
}

TEST(BareName, ComesFromTheSearchPath)
{
    if (getenv("OVEL_TEST_SEARCH_PATH") == nullptr) {
        GTEST_SKIP() << "skipped: needs LD_LIBRARY_PATH";
    }
    for (const char* dir : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(LoadOSSDK(dir), 0);
        EXPECT_EQ(LoadOSSDK(dir), 0);
        EXPECT_EQ(MappedPath("libossdk.so"), RecordingDir + "/libossdk.so");
        EXPECT_EQ(ReleaseOSSDK(), 1);
        EXPECT_EQ(MappedPath(RecordingDir + "/libossdk.so"), "");
    }
}

TEST(DynamicLoading, RefusesWhatIsNoLibrary)
{
    EXPECT_EQ(os_load_library(nullptr, nullptr, nullptr, nullptr, 0), nullptr);
    EXPECT_EQ(os_load_library(nullptr, "", nullptr, nullptr, 0), nullptr);
    EXPECT_EQ(os_dlsym_address(nullptr, "malloc"), nullptr);
    EXPECT_EQ(os_free_library(nullptr), -1);
    void* library =
        os_load_library("ignored", "libossdk.so", nullptr, const_cast<char*>(RecordingDir.c_str()), 7);
    EXPECT_NE(os_dlsym_address(library, "recording"), nullptr);
    EXPECT_EQ(os_dlsym_address(library, "no_such_name"), nullptr);
    EXPECT_EQ(os_free_library(library), 0);
}

} // namespace
