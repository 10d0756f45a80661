#include "posix/allocation/EachAllocation.h"

#include "support/ProcessResources.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

namespace LumTests {

namespace {

struct Held {
    std::ptrdiff_t blocks = liveAllocations();
    std::size_t descriptors = openDescriptorCount();

    bool IsWithin(const Held& before) const { return blocks <= before.blocks && descriptors <= before.descriptors; }
};

/// Runs with that allocation missing until a run has left nothing several times; expects that it does. What leaks
/// leaves one more block or descriptor each time; what is kept for the next run does so once.
bool runUntilNothingIsLeft(const FailingRun& run, std::size_t number)
{
    constexpr int kMostRuns = 20;
    constexpr int kEnough = 3;
    // Threads may still be about to let go of something.
    constexpr std::chrono::milliseconds kLongestRest{100};
    bool hasFailed = false;
    int withoutRest = 0;
    for (int count = 0; count < kMostRuns && withoutRest < kEnough; ++count) {
        const Held before;
        hasFailed = run(number) || hasFailed;
        withoutRest += waitUntil([&] { return Held().IsWithin(before); }, kLongestRest) ? 1 : 0;
    }
    EXPECT_EQ(withoutRest, kEnough) << "without allocation " << number << " something leaks";
    return hasFailed;
}

} // namespace

std::size_t runWithoutEachAllocation(const FailingRun& run)
{
    // Which allocations there are depends on which thread comes first: the end is where none fails several times.
    constexpr int kEnoughUnfailed = 3;
    int unfailed = 0;
    std::size_t number = 0;
    while (unfailed < kEnoughUnfailed && number < kMostAllocations && !testing::Test::HasFailure()) {
        ++number;
        unfailed = runUntilNothingIsLeft(run, number) ? 0 : unfailed + 1;
    }
    EXPECT_LT(number, kMostAllocations);
    return number;
}

} // namespace LumTests
