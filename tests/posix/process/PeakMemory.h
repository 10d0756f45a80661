#pragma once

#include <cstddef>

namespace LumTests {

/// The resident memory of the process now, and the most that it ever was.
struct MemoryUse {
    std::size_t now = 0;
    std::size_t peak = 0;
};

MemoryUse memoryUse();

} // namespace LumTests
