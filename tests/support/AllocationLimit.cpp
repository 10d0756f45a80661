#include "support/AllocationLimit.h"

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

/// Allocations of this thread until one fails; negative if none is to. Nothing here may have a destructor: mingw-w64
/// runs those of a thread after it has freed their objects.
thread_local int succeedingAllocations = -1;
thread_local const std::exception_ptr* allocationFailure = nullptr;

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
    if (succeedingAllocations >= 0 && succeedingAllocations-- == 0) {
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

FailingAllocation::FailingAllocation(int succeeding, std::exception_ptr failure) : wantedFailure(std::move(failure))
{
    allocationFailure = &wantedFailure;
    succeedingAllocations = succeeding;
}

FailingAllocation::~FailingAllocation()
{
    succeedingAllocations = -1;
    allocationFailure = nullptr;
}

bool FailingAllocation::HasFailed()
{
    return succeedingAllocations < 0;
}

} // namespace LumTests
