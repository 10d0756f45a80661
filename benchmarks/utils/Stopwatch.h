#pragma once

#include "support/BenchOptions.h"

#include <functional>
#include <string>
#include <vector>

namespace LumBench {

/// Something to be measured: its name, and what one call of it does.
struct Contestant {
    std::string name;
    std::function<void()> call;
};

/// Keeps the process on the core that it is on: a move costs the caches.
void StayOnOneCore();

/// Makes the compiler believe that the result is looked at.
void Keep(const void* result);

/// Seconds per call for each contestant: the best of nine rounds, in which they take turns, so that whatever else the
/// machine does meets all of them alike.
std::vector<double> BestSeconds(const std::vector<Contestant>& contestants, const BenchOptions& options);

} // namespace LumBench
