// The stream probes against memchr over the same buffer: both read every byte once.
#include "OvelHelpers.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <random>
#include <vector>

namespace
{

using Bytes = std::vector<unsigned char>;
constexpr unsigned char Absent = 0xFE; // what memchr looks for in vain

Bytes RandomBytes(size_t size)
{
    std::mt19937 random(1);
    Bytes bytes(size);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(1 + random() % (Absent - 1));
    }
    return bytes;
}

// Random payload with as many zeros as other values and no start code but those of units of `unitBytes`.
Bytes CodedBytes(size_t size, size_t unitBytes, std::initializer_list<unsigned char> header)
{
    Bytes bytes = RandomBytes(size);
    for (size_t i = 1; i < size; ++i) {
        bytes[i] = bytes[i] == 1 ? 0 : bytes[i];
        bytes[i] = bytes[i] == 0 && bytes[i - 1] == 0 ? 3 : bytes[i];
    }
    for (size_t at = 0; at + 8 < size; at += unitBytes) {
        std::memset(&bytes[at], 0, 2);
        bytes[at + 2] = 1;
        std::copy(header.begin(), header.end(), &bytes[at + 3]);
    }
    return bytes;
}

double Seconds(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void AgainstMemchr(benchmark::State& state, int (*probe)(unsigned char*, int), Bytes bytes)
{
    double ours = 0;
    double memchrs = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(std::memchr(bytes.data(), Absent, bytes.size()));
        memchrs += Seconds(start);
        start = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(probe(bytes.data(), static_cast<int>(bytes.size())));
        const double seconds = Seconds(start);
        ours += seconds;
        state.SetIterationTime(seconds);
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes.size()) * state.iterations());
    state.counters["ratio_to_memchr"] = ours / memchrs;
}

constexpr size_t Large = 64 << 20;
constexpr size_t Cached = 256 << 10;

#define PROBE_BENCHMARK(name, probe, bytes)                                                                  \
    BENCHMARK_CAPTURE(AgainstMemchr, name, probe, bytes)->UseManualTime()
PROBE_BENCHMARK(H264_zero_free_64MiB, H264_Probe, RandomBytes(Large));
PROBE_BENCHMARK(H264_coded_64MiB, H264_Probe, CodedBytes(Large, 1500, {0x41, 0x9A, 0x11}));
PROBE_BENCHMARK(H264_coded_256KiB, H264_Probe, CodedBytes(Cached, 1500, {0x41, 0x9A, 0x11}));
PROBE_BENCHMARK(H264_small_units_64MiB, H264_Probe, CodedBytes(Large, 40, {0x41, 0x9A, 0x11}));
PROBE_BENCHMARK(H264_zeros_64MiB, H264_Probe, Bytes(Large));
PROBE_BENCHMARK(H265_zero_free_64MiB, H265_Probe, RandomBytes(Large));
PROBE_BENCHMARK(H265_coded_64MiB, H265_Probe, CodedBytes(Large, 1500, {0x02, 0x01, 0x11}));

} // namespace

BENCHMARK_MAIN();
