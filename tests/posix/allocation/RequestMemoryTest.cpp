#include "posix/allocation/FailingAllocations.h"
#include "posix/allocation/FailingRequest.h"
#include "support/ProcessResources.h"
#include "support/RequestRecorder.h"
#include "support/posix/ChildProcess.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

/// Requests on real sockets, with each allocation of the whole process missing in turn: on the caller's thread and on
/// the engine's.

namespace LumTests {

namespace {

using Reach = FailingAllocations::Reach;

struct Held {
    std::ptrdiff_t blocks = liveAllocations();
    std::size_t descriptors = openDescriptorCount();

    bool IsWithin(const Held& before) const { return blocks <= before.blocks && descriptors <= before.descriptors; }
};

/// Runs the scenario with that allocation missing until a run has left nothing several times; expects that it does.
/// What leaks leaves one more block or descriptor each time; what is kept for the next request does so once. Returns
/// whether an allocation has failed.
bool runUntilNothingIsLeft(const Scenario& scenario, std::size_t number, Reach reach, Tally& tally)
{
    constexpr int kMostRuns = 20;
    constexpr int kEnough = 3;
    // The engine's threads may still be about to let go of something.
    constexpr std::chrono::milliseconds kLongestRest{100};
    bool hasFailed = false;
    int withoutRest = 0;
    for (int run = 0; run < kMostRuns && withoutRest < kEnough; ++run) {
        const Held before;
        hasFailed = runFailing(scenario, number, reach, tally) || hasFailed;
        withoutRest += waitUntil([&] { return Held().IsWithin(before); }, kLongestRest) ? 1 : 0;
    }
    EXPECT_EQ(withoutRest, kEnough) << "without allocation " << number << " something leaks";
    return hasFailed;
}

/// Every allocation of the scenario in turn. Returns how many there were.
std::size_t runAll(const Scenario& scenario, Reach reach, Tally& tally)
{
    // Which allocations there are depends on which thread comes first: the end is where none fails several times.
    constexpr int kEnoughUnfailed = 3;
    int unfailed = 0;
    std::size_t number = 0;
    while (unfailed < kEnoughUnfailed && number < kMostAllocations && !testing::Test::HasFailure()) {
        ++number;
        unfailed = runUntilNothingIsLeft(scenario, number, reach, tally) ? 0 : unfailed + 1;
    }
    EXPECT_LT(number, kMostAllocations);
    return number;
}

class RequestMemoryTest : public testing::TestWithParam<Scenario> {
protected:
    void RunEach(Reach reach)
    {
        // The caches are warm, and there is whatever connection is kept for reuse.
        Tally tally;
        runFailing(GetParam(), kMostAllocations, reach, tally);
        const std::size_t count = runAll(GetParam(), reach, tally);
        std::cout << "  " << GetParam().name << ": " << count << " allocations; " << tally.refused << " refused, "
                  << tally.failed << " failed, " << tally.cancelled << " cancelled, " << tally.succeeded << " succeeded"
                  << std::endl;
        EXPECT_GT(tally.refused + tally.failed, 20U);
        EXPECT_GT(tally.succeeded + tally.cancelled, 0U);
    }
};

std::string nameOf(const testing::TestParamInfo<Scenario>& scenario)
{
    return scenario.param.name;
}

INSTANTIATE_TEST_SUITE_P(Requests, RequestMemoryTest, testing::ValuesIn(scenarios()), nameOf);

TEST_P(RequestMemoryTest, OneMissingAllocationEndsInOneCompletionOrInARefusal)
{
    RunEach(Reach::One);
}

TEST_P(RequestMemoryTest, NoMemoryUntilItIsCompletedEndsInOneCompletionOrInARefusal)
{
    RunEach(Reach::AllThatFollow);
}

/// What the engine makes for its first request only.
TEST(FirstRequestMemoryTest, OneMissingAllocationInAnyProcessEndsInOneCompletionOrInARefusal)
{
    int number = 0;
    int code = 0;
    while (code == 0 && number < 1000) {
        ++number;
        code = runProgram({"/proc/self/exe", kFirstRequest, std::to_string(number)});
    }
    EXPECT_EQ(code, kNoneFailed) << "allocation " << number;
    EXPECT_GT(number, 50);
    std::cout << "  first request: " << number << " allocations" << std::endl;
}

} // namespace

} // namespace LumTests
