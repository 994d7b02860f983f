#pragma once

#include <benchmark/benchmark.h>
#include <cstdio>
#include <string>

/// Rows of the table that scripts/bench prints. A benchmark program registers its rows in main() and ends with run().
namespace bench {

inline std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

/// One row: the same work done by us and by `otherName` in the same run. The ratio shown is the other's time divided by
/// ours, so more is better; `goal` is the least that we ask for. Both are called as void(benchmark::State &).
template <class Ours, class Other>
void compare(const std::string &work, double goal, const std::string &otherName, Ours ours, Other other)
{
    const std::string row = work + '|' + number(goal) + '|';
    benchmark::RegisterBenchmark((row + "norvex").c_str(), ours)->UseRealTime();
    benchmark::RegisterBenchmark((row + otherName).c_str(), other)->UseRealTime();
}

/// The same for what is no time of the clock: both run once a repetition and say how much it was.
template <class Ours, class Other>
void compareAmounts(const std::string &work, double goal, const std::string &unit, const std::string &otherName,
                    Ours ours, Other other, int repetitions = 0)
{
    const auto add = [&](const std::string &who, auto function) {
        auto *row = benchmark::RegisterBenchmark((work + '|' + number(goal) + ' ' + unit + '|' + who).c_str(),
                                                 [function](benchmark::State &state) {
                                                     for (auto _ : state)
                                                         state.counters["amount"] = function(state);
                                                 });
        row->Iterations(1)->UseRealTime();
        if (repetitions > 0)
            row->Repetitions(repetitions);
    };
    add("norvex", ours);
    add(otherName, other);
}

/// One row with a fixed limit that people or the other end set. `ours` is double(benchmark::State &).
template <class Ours>
void atMost(const std::string &work, double limit, const std::string &unit, Ours ours, int repetitions = 0)
{
    compareAmounts(
        work, 1, unit, "the limit", ours, [limit](benchmark::State &) { return limit; }, repetitions);
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
