#pragma once

#include <benchmark/benchmark.h>
#include <cstdio>
#include <string>

/// Rows of the table that scripts/bench prints. A benchmark program registers its rows in main() and ends with run().
namespace bench {

/// One row: the same work done by us and by `otherName` in the same run. The ratio shown is the other's time divided by
/// ours, so more is better; `goal` is the least that we ask for. Both are called as void(benchmark::State &).
template <class Ours, class Other>
void compare(const std::string &work, double goal, const std::string &otherName, Ours ours, Other other)
{
    char number[32];
    std::snprintf(number, sizeof number, "%g", goal);
    const std::string row = work + '|' + number + '|';
    benchmark::RegisterBenchmark((row + "norvex").c_str(), ours)->UseRealTime();
    benchmark::RegisterBenchmark((row + otherName).c_str(), other)->UseRealTime();
}

/// One row of how time grows: the work at `size`, 10 x and 100 x of it, as state.range(0).
template <class Work>
void growth(const std::string &work, std::int64_t size, Work function)
{
    benchmark::RegisterBenchmark((work + "|growth|").c_str(), function)
        ->Arg(size)
        ->Arg(size * 10)
        ->Arg(size * 100)
        ->UseRealTime();
}

inline int run(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace bench
