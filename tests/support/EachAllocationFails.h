#pragma once

#include "support/AllocationLimit.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

namespace LumTests {

/// Runs the operation without memory for its first allocation, then for its second and so on, until it needs no more.
/// After each run `check` is told whether one has failed. Returns how many allocations there were to fail. The program
/// must be linked with AllocationLimit.cpp.
template <typename Operation, typename Check>
int withEachAllocationFailing(FailingAllocation::Reach reach, Operation operation, Check check)
{
    constexpr int kMost = 2000;
    for (int succeeding = 0; succeeding < kMost; ++succeeding) {
        SCOPED_TRACE("after " + std::to_string(succeeding) + " allocations");
        bool hasFailed = false;
        {
            const FailingAllocation failing(succeeding, reach);
            operation();
            hasFailed = FailingAllocation::HasFailed();
        }
        check(hasFailed);
        if (!hasFailed) {
            return succeeding;
        }
    }
    ADD_FAILURE() << "the operation needs more allocations than " << kMost;
    return kMost;
}

/// As above, for one allocation that fails and then for all from there on.
template <typename Operation, typename Check>
int withEachAllocationFailing(Operation operation, Check check)
{
    const int count = withEachAllocationFailing(FailingAllocation::Reach::One, operation, check);
    withEachAllocationFailing(FailingAllocation::Reach::AllThatFollow, operation, check);
    return count;
}

/// Expects that the operation throws std::bad_alloc whenever an allocation fails, and nothing else ever. After each run
/// `check` looks at what became of it.
template <typename Operation, typename Check>
int expectThrowsWithoutMemory(FailingAllocation::Reach reach, Operation operation, Check check)
{
    bool hasThrown = false;
    return withEachAllocationFailing(
        reach,
        [&] {
            hasThrown = false;
            try {
                operation();
            } catch (const std::bad_alloc&) {
                hasThrown = true;
            }
        },
        [&](bool hasFailed) {
            EXPECT_EQ(hasThrown, hasFailed);
            check(hasFailed);
        });
}

/// As above, for one allocation that fails and then for all from there on.
template <typename Operation, typename Check>
int expectThrowsWithoutMemory(Operation operation, Check check)
{
    const int count = expectThrowsWithoutMemory(FailingAllocation::Reach::One, operation, check);
    expectThrowsWithoutMemory(FailingAllocation::Reach::AllThatFollow, operation, check);
    return count;
}

template <typename Operation>
int expectThrowsWithoutMemory(Operation operation)
{
    return expectThrowsWithoutMemory(operation, [](bool) {});
}

/// Expects that the operation never throws. After each run `check` looks at what became of it.
template <typename Operation, typename Check>
int expectEndsWithoutMemory(FailingAllocation::Reach reach, Operation operation, Check check)
{
    bool hasThrown = false;
    return withEachAllocationFailing(
        reach,
        [&] {
            hasThrown = false;
            try {
                operation();
            } catch (...) {
                hasThrown = true;
            }
        },
        [&](bool hasFailed) {
            EXPECT_FALSE(hasThrown);
            check(hasFailed);
        });
}

} // namespace LumTests
