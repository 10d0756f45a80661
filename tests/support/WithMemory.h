#pragma once

#include <utility>

namespace LumTests {

/// Why this thread has memory, however little a test leaves to the others; 0 is for no reason.
inline int& reasonsForMemory()
{
    static thread_local int reasons = 0;
    return reasons;
}

/// While it lives, the allocations of this thread neither count nor fail for the sake of a test: for what stands in for
/// others, such as a platform or a host, and for what a test notes on the way.
class WithMemory {
public:
    WithMemory() { ++reasonsForMemory(); }
    ~WithMemory() { --reasonsForMemory(); }
    WithMemory(const WithMemory&) = delete;
    WithMemory& operator=(const WithMemory&) = delete;
};

/// While it lives, it is as if no WithMemory did: for calls back into what is tested.
class WithoutThatMemory {
public:
    WithoutThatMemory() : before(std::exchange(reasonsForMemory(), 0)) {}
    ~WithoutThatMemory() { reasonsForMemory() = before; }
    WithoutThatMemory(const WithoutThatMemory&) = delete;
    WithoutThatMemory& operator=(const WithoutThatMemory&) = delete;

private:
    const int before;
};

} // namespace LumTests
