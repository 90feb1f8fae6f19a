#include "Measure.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <ctime>

#include <sys/resource.h>

namespace
{

std::atomic<int64_t> s_allocations{0};
thread_local int64_t s_threadAllocations = 0;

double Milliseconds(clockid_t clock)
{
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

void CountAllocation()
{
    ++s_threadAllocations;
    s_allocations.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

// The program's own come before the C library's for everything in the process.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

__attribute__((visibility("default"))) void* malloc(size_t size)
{
    CountAllocation();
    return __libc_malloc(size);
}
__attribute__((visibility("default"))) void* calloc(size_t count, size_t size)
{
    CountAllocation();
    return __libc_calloc(count, size);
}
__attribute__((visibility("default"))) void* realloc(void* memory, size_t size)
{
    CountAllocation();
    return __libc_realloc(memory, size);
}
}

namespace Bench
{

double WallMilliseconds()
{
    return Milliseconds(CLOCK_MONOTONIC);
}

double ProcessCpuMilliseconds()
{
    return Milliseconds(CLOCK_PROCESS_CPUTIME_ID);
}

double ThreadCpuMilliseconds()
{
    return Milliseconds(CLOCK_THREAD_CPUTIME_ID);
}

long ThreadPageFaults()
{
    rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_minflt;
}

int64_t ThreadAllocations()
{
    return s_threadAllocations;
}

int64_t ProcessAllocations()
{
    return s_allocations;
}

double Median(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void Series::Add(double limit, double library)
{
    m_limit.push_back(limit);
    m_library.push_back(library);
}

double Series::Quantile(double part) const
{
    std::vector<double> ratios;
    for (size_t i = 0; i < m_limit.size(); ++i) {
        ratios.push_back(m_library[i] / m_limit[i]);
    }
    if (ratios.empty()) {
        return 0;
    }
    std::sort(ratios.begin(), ratios.end());
    return ratios[static_cast<size_t>(std::lround(part * static_cast<double>(ratios.size() - 1)))];
}

double Series::Ratio() const
{
    return Quantile(0.5);
}

double Series::Low() const
{
    return Quantile(0.25);
}

double Series::High() const
{
    return Quantile(0.75);
}

void Alternate(Series& series, int rounds, const std::function<double()>& limit,
               const std::function<double()>& library)
{
    for (int round = 0; round <= rounds; ++round) {
        const bool limitFirst = round % 2 == 0;
        const double first = limitFirst ? limit() : library();
        const double second = limitFirst ? library() : limit();
        if (round > 0) {
            limitFirst ? series.Add(first, second) : series.Add(second, first);
        }
    }
}

Series Alternate(int rounds, const std::function<double()>& limit, const std::function<double()>& library)
{
    Series series;
    Alternate(series, rounds, limit, library);
    return series;
}

void PrintTitle(const std::string& title, const char* limitColumn)
{
    std::printf(
        "\n%s\n\n| cell | %s | library | ratio | quartiles | target |\n|---|---:|---:|---:|---:|---:|\n",
        title.c_str(), limitColumn);
}

void PrintRow(const std::string& cell, const Series& s, const char* unit, double target)
{
    char goal[32] = "";
    if (target > 0) {
        std::snprintf(goal, sizeof(goal), "%.2f%s", target, s.Ratio() <= target + 0.005 ? "" : " **over**");
    }
    std::printf("| %s | %.3f %s | %.3f %s | %.3f | %.3f - %.3f | %s |\n", cell.c_str(), s.Limit(), unit,
                s.Library(), unit, s.Ratio(), s.Low(), s.High(), goal);
    std::fflush(stdout);
}

void PrintRow(const std::string& cell, double limit, double library, const char* unit)
{
    std::printf("| %s | %.3f %s | %.3f %s | | | |\n", cell.c_str(), limit, unit, library, unit);
    std::fflush(stdout);
}

void PrintNote(const std::string& text)
{
    std::printf("\n%s\n", text.c_str());
    std::fflush(stdout);
}

} // namespace Bench
