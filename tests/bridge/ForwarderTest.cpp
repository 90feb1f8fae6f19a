#include "BridgeFixture.h"
#include "OsCoreApi.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace
{

using Bits = std::vector<uint64_t>;

// One function of the bridge, to be called under its exported name and as a member, with argument bits for
// what the types hold of them.
struct Forwarder {
    const char* name;
    int fallback;
    uint64_t (*call)(const Forwarder&, bool exported, const Bits& bits);
    Bits (*narrow)(const Bits& bits); // the result, then the arguments; null for the text functions

    void* Exported() const { return dlsym(RTLD_DEFAULT, (std::string("api_") + name).c_str()); }
};

template <auto Member> struct Typed;

template <typename Result, typename... Arguments, Result (CLS_OsCoreApi::*Member)(Arguments...)>
struct Typed<Member> {
    using Places = std::index_sequence_for<Arguments...>;

    static Result Invoke(const Forwarder& forwarder, bool exported, Arguments... arguments)
    {
        return exported ? reinterpret_cast<Result (*)(Arguments...)>(forwarder.Exported())(arguments...)
                        : (CLS_OsCoreApi::Instance()->*Member)(arguments...);
    }

    template <size_t... Place>
    static uint64_t Call(const Forwarder& forwarder, bool exported, [[maybe_unused]] const Bits& bits,
                         std::index_sequence<Place...>)
    {
        if constexpr (std::is_void_v<Result>) {
            Invoke(forwarder, exported, FromBits<Arguments>(bits[Place + 1])...);
            return 0;
        } else {
            return ToBits(Invoke(forwarder, exported, FromBits<Arguments>(bits[Place + 1])...));
        }
    }

    template <size_t... Place> static Bits Narrow(const Bits& bits, std::index_sequence<Place...>)
    {
        using Held = std::conditional_t<std::is_void_v<Result>, bool, Result>;
        const uint64_t result = std::is_void_v<Result> ? 0 : ToBits(FromBits<Held>(bits[0]));
        return {result, ToBits(FromBits<Arguments>(bits[Place + 1]))...};
    }
};

template <auto Member> constexpr Forwarder MakeForwarder(const char* name, int fallback)
{
    using Places = typename Typed<Member>::Places;
    return {name, fallback,
            [](const Forwarder& forwarder, bool exported, const Bits& bits) {
                return Typed<Member>::Call(forwarder, exported, bits, Places());
            },
            [](const Bits& bits) { return Typed<Member>::Narrow(bits, Places()); }};
}

// The text functions: variadic under their exported name, taking a finished text as members.
template <void (CLS_OsCoreApi::*Member)(const char*)>
uint64_t CallText(const Forwarder& forwarder, bool exported, const Bits&)
{
    if (exported) {
        reinterpret_cast<void (*)(const char*, ...)>(forwarder.Exported())("%s %d %c", "one %s", -2, '%');
    } else {
        (CLS_OsCoreApi::Instance()->*Member)("one %s -2 %");
    }
    return 0;
}

#define SDK_CHAR char
#define SDK_CALL(fallback, result, name, parameters, arguments)                                              \
    static_assert(std::is_same_v<decltype(&api_##name), result(*) parameters>, "declared for hosts");
#define SDK_TEXT(name)
#include "SdkList.inc"
#undef SDK_CALL
#undef SDK_TEXT

#define SDK_CALL(fallback, result, name, parameters, arguments)                                              \
    MakeForwarder<static_cast<result(CLS_OsCoreApi::*) parameters>(&CLS_OsCoreApi::inner_##name)>(#name,     \
                                                                                                  fallback),
#define SDK_TEXT(name) Forwarder{#name, 0, CallText<&CLS_OsCoreApi::inner_##name>, nullptr},
constexpr Forwarder Forwarders[] = {
#include "SdkList.inc"
};

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
        Bits actual = {forwarder.call(forwarder, round % 2 == 0, bits)};
        const RecordedCall& call = recording.first[0];
        EXPECT_EQ(recording.calls, 1) << forwarder.name;
        EXPECT_STREQ(call.name, forwarder.name);
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
    for (const bool exported : {true, false}) {
        uint64_t result = 0;
        const std::string notice =
            Notices([&] { result = forwarder.call(forwarder, exported, Bits(6, ~uint64_t{0})); });
        EXPECT_TRUE(IsNotice(notice, std::string("inner_") + forwarder.name))
            << forwarder.name << ": " << notice;
        EXPECT_EQ(result, ToBits(forwarder.fallback)) << forwarder.name;
    }
}

using ForwarderTest = BridgeTest;

TEST_F(ForwarderTest, ArgumentsAndResultsArriveWhole)
{
    Recording& recording = Load(RecordingDir);
    ASSERT_EQ(std::size(Forwarders), 124u);
    const std::string notices = Notices([&] {
        for (const Forwarder& forwarder : Forwarders) {
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
        for (const Forwarder& forwarder : Forwarders) {
            ExpectFallback(forwarder);
        }
    }
}

TEST_F(ForwarderTest, OneMissingFunctionFallsBackAlone)
{
    Recording& recording = Load(LackingDir);
    for (const Forwarder& forwarder : Forwarders) {
        std::string(forwarder.name) == "net_os_inet_pton" ? ExpectFallback(forwarder)
                                                          : ExpectForwarded(forwarder, recording);
    }
}

TEST_F(ForwarderTest, TheTableLiesInItsOrder)
{
    Load(RecordingDir);
    void* sdk = dlopen((RecordingDir + "/libossdk.so").c_str(), RTLD_LAZY | RTLD_NOLOAD);
    const auto* words = reinterpret_cast<void* const*>(CLS_OsCoreApi::Instance());
    ASSERT_EQ(sizeof(CLS_OsCoreApi), (std::size(Forwarders) + 1) * sizeof(void*));
    for (const Forwarder& forwarder : Forwarders) {
        EXPECT_EQ(*words++, dlsym(sdk, forwarder.name)) << forwarder.name;
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
