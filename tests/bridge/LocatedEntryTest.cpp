// Links the bridge's sources: the entry's function is not exported.
#include "BridgeFixture.h"
#include "OsCoreApi.h"

namespace
{

TEST_F(BridgeTest, LocatedErrorEntry)
{
    const char* const expected[][2] = {{"sdk_log_buf_lock", ""},
                                       {"sdk_log_buf_date", ""},
                                       {"sdk_log_buf_msg", "file: File, func:Function, line: 7 "},
                                       {"sdk_err_buf_msg_unlock", "3 of four"}};
    std::string notices = Notices([] { LogError("File", "Function", 7, "text"); });
    for (const auto& one : expected) {
        EXPECT_TRUE(TakeNotice(notices, std::string("inner_") + one[0])) << notices;
    }
    EXPECT_EQ(notices, "");

    Recording& recording = Load(RecordingDir);
    LogError("File", "Function", 7, "%d of %s", 3, "four");
    ASSERT_EQ(recording.calls, 4);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_STREQ(recording.first[i].name, expected[i][0]);
        EXPECT_STREQ(recording.first[i].text, expected[i][1]);
    }
}

} // namespace
