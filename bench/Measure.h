// Clocks, counters and tables: a library is measured in turn with its limit, never against an earlier run.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Bench
{

double WallMilliseconds();
double ProcessCpuMilliseconds(); // all threads, the software rasteriser's too
double ThreadCpuMilliseconds();
long ThreadPageFaults();      // minor, of this thread
int64_t ThreadAllocations();  // malloc, calloc, realloc and what is built on them, by this thread
int64_t ProcessAllocations(); // by all threads

double Median(std::vector<double> values);

// Two columns of measurements taken in turn.
class Series
{
public:
    void Add(double limit, double library);
    double Limit() const { return Median(m_limit); }
    double Library() const { return Median(m_library); }
    double Ratio() const; // median of the ratios of neighbours
    double Low() const;   // quartiles of the same: how noisy the cell is
    double High() const;

private:
    double Quantile(double part) const;

    std::vector<double> m_limit;
    std::vector<double> m_library;
};

// Measures both `rounds` times in turn, each first every other time; the first round is thrown away.
void Alternate(Series& series, int rounds, const std::function<double()>& limit,
               const std::function<double()>& library);
Series Alternate(int rounds, const std::function<double()>& limit, const std::function<double()>& library);

void PrintTitle(const std::string& title, const char* limitColumn = "limit");
void PrintRow(const std::string& cell, const Series& series, const char* unit, double target = 0);
void PrintRow(const std::string& cell, double limit, double library, const char* unit);
void PrintNote(const std::string& text);

} // namespace Bench
