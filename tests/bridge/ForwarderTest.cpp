#include "BridgeFixture.h"
#include "OsCoreApi.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <vector>

namespace
{

using Bits = std::vector<uint64_t>;
using Call = std::function<uint64_t(const Bits& bits)>;

// One function of the bridge, to be called under its exported name and as a member, with argument bits for
// what the types hold of them.
struct Forwarder {
    std::string name;
    int fallback;
    std::array<Call, 2> ways;
    Bits (*narrow)(const Bits& bits); // the result, then the arguments; null for the text functions
};

// Both ways of the type that is declared for hosts.
template <typename Result, typename... Arguments, size_t... Place>
Forwarder MakeForwarder(const char* name, int fallback, Result (*exported)(Arguments...),
                        Result (*member)(Arguments...), std::index_sequence<Place...>)
{
    const auto way = [](Result (*function)(Arguments...)) {
        return [function]([[maybe_unused]] const Bits& bits) -> uint64_t {
            if constexpr (std::is_void_v<Result>) {
                function(FromBits<Arguments>(bits[Place + 1])...);
                return 0;
            } else {
                return ToBits(function(FromBits<Arguments>(bits[Place + 1])...));
            }
        };
    };
    const auto narrow = [](const Bits& bits) {
        using Held = std::conditional_t<std::is_void_v<Result>, bool, Result>;
        const uint64_t result = std::is_void_v<Result> ? 0 : ToBits(FromBits<Held>(bits[0]));
        return Bits{result, ToBits(FromBits<Arguments>(bits[Place + 1]))...};
    };
    return {name, fallback, {way(exported), way(member)}, narrow};
}

template <typename Result, typename... Arguments>
Forwarder MakeForwarder(const char* name, int fallback, Result (*exported)(Arguments...),
                        Result (*member)(Arguments...))
{
    return MakeForwarder(name, fallback, exported, member, std::index_sequence_for<Arguments...>());
}

// The text functions: variadic under their exported name, taking a finished text as members.
Forwarder MakeText(const char* name, void (*exported)(const char*, ...), void (*member)(const char*))
{
    const auto first = [exported](const Bits&) {
        return exported("%s %d %c", "one %s", -2, '%'), uint64_t{0};
    };
    const auto second = [member](const Bits&) { return member("one %s -2 %"), uint64_t{0}; };
    return {name, 0, {first, second}, nullptr};
}

#define SDK_CHAR char
#define SDK_CALL(fallback, result, name, parameters, arguments)                                              \
    MakeForwarder(                                                                                           \
        #name, fallback, &api_##name,                                                                        \
        +[] parameters -> result { return CLS_OsCoreApi::Instance()->inner_##name arguments; }),
#define SDK_TEXT(name)                                                                                       \
    MakeText(#name, &api_##name, [](const char* text) { CLS_OsCoreApi::Instance()->inner_##name(text); }),
const std::vector<Forwarder>& Forwarders()
{
    static const std::vector<Forwarder> all = {
#include "SdkList.inc"
    };
    return all;
}

void ExpectForwarded(const Forwarder& forwarder, Recording& recording)
{
    // Nothing, every bit, and bits that differ from place to place.
    Bits patterns[3] = {Bits(6, 0), Bits(6, ~uint64_t{0}), {}};
    for (uint64_t place = 0; place < 6; ++place) {
        patterns[2].push_back(0x8142C3A495E6B7D9u * (2 * place + 1));
    }
    for (int round = 0; round < 6; ++round) {
        const Bits& bits = patterns[round / 2];
        recording = {};
        recording.result = bits[0];
        Bits actual = {forwarder.ways[static_cast<size_t>(round % 2)](bits)};
        const RecordedCall& call = recording.first[0];
        EXPECT_EQ(recording.calls, 1) << forwarder.name;
        EXPECT_EQ(call.name, forwarder.name);
        if (forwarder.narrow == nullptr) {
            EXPECT_STREQ(call.text, "one %s -2 %") << forwarder.name;
        } else {
            actual.insert(actual.end(), call.arguments.data(), call.arguments.data() + call.count);
            EXPECT_EQ(actual, forwarder.narrow(bits)) << forwarder.name << ", round " << round;
        }
    }
}

void ExpectFallback(const Forwarder& forwarder)
{
    for (const Call& way : forwarder.ways) {
        uint64_t result = 0;
        const std::string notice = Notices([&] { result = way(Bits(6, ~uint64_t{0})); });
        EXPECT_TRUE(IsNotice(notice, "inner_" + forwarder.name)) << forwarder.name << ": " << notice;
        EXPECT_EQ(result, ToBits(forwarder.fallback)) << forwarder.name;
    }
}

using ForwarderTest = BridgeTest;

TEST_F(ForwarderTest, ArgumentsAndResultsArriveWhole)
{
    Recording& recording = Load(RecordingDir);
    ASSERT_EQ(Forwarders().size(), 124u);
    const std::string notices = Notices([&] {
        for (const Forwarder& forwarder : Forwarders()) {
            ExpectForwarded(forwarder, recording);
        }
    });
    EXPECT_EQ(notices, "");
}

TEST_F(ForwarderTest, FallBackBeforeALoadAfterAFailedOneAndAfterARelease)
{
    void (*const ways[])() = {[] {}, [] { EXPECT_EQ(LoadOSSDK("/nonexistent"), -1); },
                              [] {
                                  Load(RecordingDir);
                                  EXPECT_EQ(ReleaseOSSDK(), 1);
                              },
                              [] {
                                  Load(RecordingDir);
                                  CLS_OsCoreApi::Instance()->ReleaseOsCoreLib();
                              },
                              [] { EXPECT_EQ(CLS_OsCoreApi::Instance()->LoadOsCoreLib(), 0); }};
    for (const auto way : ways) {
        EXPECT_EQ(Notices(way), "");
        for (const Forwarder& forwarder : Forwarders()) {
            ExpectFallback(forwarder);
        }
    }
}

TEST_F(ForwarderTest, OneMissingFunctionFallsBackAlone)
{
    Recording& recording = Load(LackingDir);
    for (const Forwarder& forwarder : Forwarders()) {
        forwarder.name == "net_os_inet_pton" ? ExpectFallback(forwarder)
                                             : ExpectForwarded(forwarder, recording);
    }
}

TEST_F(ForwarderTest, TheTableLiesInItsOrder)
{
    Load(RecordingDir);
    void* sdk = dlopen((RecordingDir + "/libossdk.so").c_str(), RTLD_LAZY | RTLD_NOLOAD);
    const auto* words = reinterpret_cast<void* const*>(CLS_OsCoreApi::Instance());
    ASSERT_EQ(sizeof(CLS_OsCoreApi), (Forwarders().size() + 1) * sizeof(void*));
    for (const Forwarder& forwarder : Forwarders()) {
        EXPECT_EQ(*words++, dlsym(sdk, forwarder.name.c_str())) << forwarder.name;
    }
    EXPECT_EQ(*words, sdk);
    dlclose(sdk);
}

TEST_F(ForwarderTest, LongTextsAreCut)
{
    Recording& recording = Load(RecordingDir);
    std::string text;
    while (text.size() < 6000) {
        text += std::to_string(text.size()) + " ";
    }
    for (const auto function : {api_sdk_log_debug, api_sdk_log_msg, api_sdk_log_buf_msg, api_sdk_log_buf,
                                api_sdk_log_buf_msg_unlock, api_sdk_log_buf_quit_unlock,
                                api_sdk_err_buf_msg_unlock, api_sdk_err_buf_quit_unlock}) {
        for (const size_t length : {size_t{0}, size_t{4093}, size_t{4094}, size_t{4095}, text.size()}) {
            recording = {};
            function("%s", text.substr(0, length).c_str());
            EXPECT_EQ(recording.first[0].text, text.substr(0, std::min(length, size_t{4094})));
            EXPECT_TRUE(function != api_sdk_log_buf ||
                        recording.first[0].name == std::string("sdk_log_buf_msg"));
        }
    }
}

} // namespace
