#include "allocation/FailingAllocations.h"

#include "support/LiveBlocks.h"
#include "support/WithMemory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace LumTests {

namespace {

/// The number of the next allocation, and the first and the last that fail; 0 is none.
std::atomic<std::size_t> nextNumber{1};
std::atomic<std::size_t> firstFailing{0};
std::atomic<std::size_t> lastFailing{0};
std::atomic<bool> hasFailed{false};

/// Whether the allocation that a thread is about to make is to fail.
bool isToFail()
{
    if (firstFailing.load(std::memory_order_relaxed) == 0 || reasonsForMemory() > 0) {
        return false;
    }
    const std::size_t number = nextNumber++;
    const bool fails = number >= firstFailing && number <= lastFailing;
    if (fails) {
        hasFailed = true;
    }
    return fails;
}

void* allocate(std::size_t size)
{
    void* const memory = allocateOrFail(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

void* allocateOrFail(std::size_t size)
{
    void* const memory = isToFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory != nullptr) {
        LiveBlocks::add(memory);
    }
    return memory;
}

void freeAllocated(void* memory)
{
    if (memory != nullptr) {
        LiveBlocks::remove(memory);
        std::free(memory);
    }
}

FailingAllocations::FailingAllocations(std::size_t number, Reach reach)
{
    hasFailed = false;
    nextNumber = 1;
    lastFailing = reach == Reach::One ? number : static_cast<std::size_t>(-1);
    firstFailing = number;
}

FailingAllocations::~FailingAllocations()
{
    End();
}

bool FailingAllocations::HasFailed() const
{
    return hasFailed;
}

void FailingAllocations::End()
{
    firstFailing = 0;
}

} // namespace LumTests

void* operator new(std::size_t size)
{
    return LumTests::allocate(size);
}

void* operator new[](std::size_t size)
{
    return LumTests::allocate(size);
}

void operator delete(void* memory) noexcept
{
    LumTests::freeAllocated(memory);
}

void operator delete[](void* memory) noexcept
{
    LumTests::freeAllocated(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    LumTests::freeAllocated(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    LumTests::freeAllocated(memory);
}
