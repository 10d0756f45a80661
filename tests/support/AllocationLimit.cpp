#include "support/AllocationLimit.h"

#include "support/WithMemory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

/// 256 GiB, or everything where a size cannot say as much.
constexpr std::size_t kLargestByDefault =
    static_cast<std::size_t>(SIZE_MAX / 2 < (std::uint64_t{1} << 38U) ? SIZE_MAX / 2 : (std::uint64_t{1} << 38U));

std::atomic<std::size_t> largestAllocation{kLargestByDefault};

/// What is to become of this thread's allocations. Nothing here may have a destructor: mingw-w64 runs those of a thread
/// after it has freed their objects.
thread_local bool isToFail = false;
thread_local int succeedingAllocations = 0;
thread_local bool hasFailed = false;
thread_local LumTests::FailingAllocation::Reach failureReach = LumTests::FailingAllocation::Reach::One;
thread_local const std::exception_ptr* allocationFailure = nullptr;

/// Counts an allocation of this thread; whether it is to fail.
bool failsNow()
{
    if (!isToFail || LumTests::reasonsForMemory() > 0) {
        return false;
    }
    if (succeedingAllocations > 0) {
        --succeedingAllocations;
        return false;
    }
    hasFailed = true;
    isToFail = failureReach == LumTests::FailingAllocation::Reach::AllThatFollow;
    return true;
}

void* allocate(std::size_t size)
{
    LumTests::failIfWanted(size);
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size)
{
    return allocate(size);
}

void* operator new[](std::size_t size)
{
    return allocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

namespace LumTests {

void failIfWanted(std::size_t size)
{
    if (failsNow()) {
        std::rethrow_exception(*allocationFailure);
    }
    if (size > largestAllocation.load(std::memory_order_relaxed)) {
        throw std::bad_alloc();
    }
}

AllocationLimit::AllocationLimit(std::size_t largest) : before(largestAllocation.exchange(largest)) {}

AllocationLimit::~AllocationLimit()
{
    largestAllocation = before;
}

FailingAllocation::FailingAllocation(int succeeding, Reach reach, std::exception_ptr failure)
    : wantedFailure(std::move(failure))
{
    allocationFailure = &wantedFailure;
    succeedingAllocations = succeeding;
    failureReach = reach;
    hasFailed = false;
    isToFail = true;
}

FailingAllocation::~FailingAllocation()
{
    isToFail = false;
    allocationFailure = nullptr;
}

bool FailingAllocation::HasFailed()
{
    return hasFailed;
}

} // namespace LumTests
