#include "Measurement.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace LumBench {

namespace {

double nanosecondsOf(int repetitions, const std::function<void(int)>& work)
{
    const auto start = std::chrono::steady_clock::now();
    work(repetitions);
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / repetitions;
}

double medianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

Comparison MeasureInTurns(int rounds, int repetitions, const std::function<void(int)>& ours,
                          const std::function<void(int)>& theirs)
{
    // Code is compiled and memory taken in the first round, which does not count.
    ours(repetitions);
    theirs(repetitions);
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    for (int round = 0; round < rounds; ++round) {
        theirTimes.push_back(nanosecondsOf(repetitions, theirs));
        ourTimes.push_back(nanosecondsOf(repetitions, ours));
    }
    return {medianOf(ourTimes), medianOf(theirTimes)};
}

} // namespace LumBench
