#include "allocation/EachAllocation.h"

#include "PlatformQuirks.h"
#include "support/LiveBlocks.h"
#include "support/ProcessResources.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace LumTests {

namespace {

/// Threads may still be about to let go of something.
constexpr std::chrono::milliseconds kLongestRest{100};

/// Threads that the platform keeps for a while hold descriptors for as long.
constexpr std::chrono::seconds kLongestStay{20};

std::ptrdiff_t descriptorCount()
{
    return static_cast<std::ptrdiff_t>(openDescriptorCount());
}

/// What a run has to leave as it was. Where the platform keeps descriptors for its own sake, they are looked at after
/// all runs only.
struct Held {
    std::ptrdiff_t blocks = LiveBlocks::count();
    std::ptrdiff_t descriptors = Quirks::kKeepsDescriptorsForReuse ? 0 : descriptorCount();

    bool IsWithin(const Held& before) const { return blocks <= before.blocks && descriptors <= before.descriptors; }
};

/// What all runs together may leave. What is kept for the next run, such as a connection or a thread, is there once,
/// whichever run made it; what leaks adds up, also if only some of the runs leak.
class KeptOnce {
public:
    /// Expects that there is seldom more than there ever was after a run.
    void ExpectAfterRun()
    {
        constexpr int kMostThings = 6;
        const Held now;
        if (!now.IsWithin(most)) {
            most = {std::max(most.blocks, now.blocks), std::max(most.descriptors, now.descriptors)};
            ++things;
        }
        EXPECT_LE(things, kMostThings) << "something leaks in some runs: there are " << now.blocks << " blocks and "
                                       << now.descriptors << " descriptors";
    }

private:
    Held most;
    int things = 0;
};

/// Runs with that allocation missing until a run has left nothing several times; expects that it does.
bool runUntilNothingIsLeft(const FailingRun& run, std::size_t number, KeptOnce& kept)
{
    constexpr int kMostRuns = 20;
    constexpr int kEnough = 3;
    bool hasFailed = false;
    int withoutRest = 0;
    for (int count = 0; count < kMostRuns && withoutRest < kEnough; ++count) {
        const Held before;
        hasFailed = run(number) || hasFailed;
        withoutRest += waitUntil([&] { return Held().IsWithin(before); }, kLongestRest) ? 1 : 0;
        kept.ExpectAfterRun();
    }
    EXPECT_EQ(withoutRest, kEnough) << "without allocation " << number << " something leaks";
    return hasFailed;
}

} // namespace

std::size_t runWithoutEachAllocation(const FailingRun& run)
{
    constexpr auto kSlack = static_cast<std::ptrdiff_t>(Quirks::kDescriptorSlack);
    const std::ptrdiff_t before = descriptorCount();
    KeptOnce kept;
    int unfailed = 0;
    std::size_t number = 0;
    while (unfailed < kEnoughUnfailed && number < kMostAllocations && !testing::Test::HasFailure()) {
        ++number;
        unfailed = runUntilNothingIsLeft(run, number, kept) ? 0 : unfailed + 1;
    }
    EXPECT_LT(number, kMostAllocations);
    EXPECT_TRUE(waitUntil([&] { return descriptorCount() <= before + kSlack; }, kLongestStay))
        << before << " descriptors were open, and " << descriptorCount() << " are now";
    return number;
}

} // namespace LumTests
