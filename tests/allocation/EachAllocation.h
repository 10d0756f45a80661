#pragma once

#include "allocation/FailingAllocations.h"

#include <cstddef>
#include <functional>

namespace LumTests {

/// More than any operation needs.
constexpr std::size_t kMostAllocations = 5000;

/// Which allocations there are depends on which thread comes first: the end is where in so many runs in a row none
/// fails.
constexpr int kEnoughUnfailed = 3;

/// Runs what may lack its n-th allocation; true if it did.
using FailingRun = std::function<bool(std::size_t number)>;

/// The run with each of its allocations missing in turn, n from 1 until none is. Each is repeated until it has left
/// neither memory nor descriptors several times, which is expected; where the platform keeps descriptors for its own
/// sake, those are looked at when all runs are over. Returns how many allocations there were.
std::size_t runWithoutEachAllocation(const FailingRun& run);

} // namespace LumTests
