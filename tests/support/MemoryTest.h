#pragma once

#include "support/AllocationLimit.h"

#include <gtest/gtest.h>

#include <string>

namespace LumTests {

/// Runs the operation without memory for its first allocation, then for its second and so on, until it needs no more.
/// `operation` gets whether it has failed, when it asks; after each run `check` is told. Returns how many allocations
/// there were to fail. The program must be linked with AllocationLimit.cpp.
template <typename Operation, typename Check>
int withEachAllocationFailing(Operation operation, Check check)
{
    constexpr int kMost = 2000;
    for (int succeeding = 0; succeeding < kMost; ++succeeding) {
        SCOPED_TRACE("after " + std::to_string(succeeding) + " allocations");
        bool hasFailed = false;
        {
            const FailingAllocation failing(succeeding);
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

/// Expects that the operation throws std::bad_alloc whenever an allocation fails, and nothing else ever.
template <typename Operation>
int expectThrowsWithoutMemory(Operation operation)
{
    bool hasThrown = false;
    return withEachAllocationFailing(
        [&] {
            hasThrown = false;
            try {
                operation();
            } catch (const std::bad_alloc&) {
                hasThrown = true;
            }
        },
        [&](bool hasFailed) { EXPECT_EQ(hasThrown, hasFailed); });
}

} // namespace LumTests
