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

enum class Ending { Usual, BadAlloc, OtherException };

template <typename Operation>
Ending endingOf(Operation& operation)
{
    try {
        operation();
        return Ending::Usual;
    } catch (const std::bad_alloc&) {
        return Ending::BadAlloc;
    } catch (...) {
        return Ending::OtherException;
    }
}

/// Runs the operation as above and expects that it ends in that way whenever an allocation fails, and never otherwise.
/// After each run `check` looks at what became of it.
template <typename Operation, typename Check>
int expectEndingWithoutMemory(Ending expected, FailingAllocation::Reach reach, Operation operation, Check check)
{
    Ending ending = Ending::Usual;
    return withEachAllocationFailing(
        reach, [&] { ending = endingOf(operation); },
        [&](bool hasFailed) {
            EXPECT_EQ(ending, hasFailed ? expected : Ending::Usual);
            check(hasFailed);
        });
}

/// Expects that the operation throws std::bad_alloc whenever an allocation fails, and nothing else ever.
template <typename Operation, typename Check>
int expectThrowsWithoutMemory(FailingAllocation::Reach reach, Operation operation, Check check)
{
    return expectEndingWithoutMemory(Ending::BadAlloc, reach, operation, check);
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

/// Expects that the operation never throws.
template <typename Operation, typename Check>
int expectEndsWithoutMemory(FailingAllocation::Reach reach, Operation operation, Check check)
{
    return expectEndingWithoutMemory(Ending::Usual, reach, operation, check);
}

} // namespace LumTests
