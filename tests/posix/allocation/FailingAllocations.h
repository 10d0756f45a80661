#pragma once

#include <cstddef>

namespace LumTests {

/// While it lives, one allocation of the process fails, on whatever thread it is, or that one and all that follow:
/// those of operator new. The program must be linked with FailingAllocations.cpp.
///
///     const LumTests::FailingAllocations failing(3, LumTests::FailingAllocations::Reach::One); // the third one
class FailingAllocations {
public:
    enum class Reach { One, AllThatFollow };

    FailingAllocations(std::size_t number, Reach reach);
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    /// Whether one has failed.
    bool HasFailed() const;

    /// From now on none fails.
    static void End();
};

/// From the one to the other the allocations of this thread neither fail nor count; may be nested.
void giveMemory();
void takeMemory();

/// While it lives, the thread has memory.
class WithMemory {
public:
    WithMemory();
    ~WithMemory();
    WithMemory(const WithMemory&) = delete;
    WithMemory& operator=(const WithMemory&) = delete;
};

/// Blocks that are allocated and not freed, by operator new.
std::ptrdiff_t liveAllocations();

} // namespace LumTests
