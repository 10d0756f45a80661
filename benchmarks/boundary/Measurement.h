#pragma once

#include <functional>

namespace LumBench {

/// The same work done in two ways.
struct Comparison {
    double ours = 0;
    double theirs = 0;
};

/// Does both so many times in turns, and gives each one's median of nanoseconds per repetition. The functions do their
/// work as often as they are told.
Comparison MeasureInTurns(int rounds, int repetitions, const std::function<void(int)>& ours,
                          const std::function<void(int)>& theirs);

} // namespace LumBench
