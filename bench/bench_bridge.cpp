// What it costs to go through the bridge instead of calling the OS SDK.
#include "OvelOsSdk.h"

#include <benchmark/benchmark.h>

#include <dlfcn.h>

namespace
{

bool IsLoaded(benchmark::State& state)
{
    if (LoadOSSDK(OVEL_EMPTY_OSSDK) == 0) {
        return true;
    }
    state.SkipWithError("no stand-in for the OS SDK");
    return false;
}

void DirectCall(benchmark::State& state)
{
    void* library = dlopen(OVEL_EMPTY_OSSDK "/libossdk.so", RTLD_NOW);
    const auto function = reinterpret_cast<int (*)(int)>(dlsym(library, "sdk_os_set_timer_interval"));
    for (auto _ : state) {
        benchmark::DoNotOptimize(function(static_cast<int>(state.iterations())));
    }
}
BENCHMARK(DirectCall);

void Forwarder(benchmark::State& state)
{
    if (!IsLoaded(state)) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(api_sdk_os_set_timer_interval(static_cast<int>(state.iterations())));
    }
}
BENCHMARK(Forwarder);

void ForwarderWithHandle(benchmark::State& state)
{
    if (!IsLoaded(state)) {
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(api_sdk_mutex_lock(nullptr));
    }
}
BENCHMARK(ForwarderWithHandle);

void LogMessage(benchmark::State& state)
{
    if (!IsLoaded(state)) {
        return;
    }
    for (auto _ : state) {
        api_sdk_log_msg("[bench]width=%d, height=%d", 1920, 1080);
    }
}
BENCHMARK(LogMessage);

} // namespace
