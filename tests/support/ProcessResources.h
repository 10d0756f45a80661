#pragma once

#include <cstddef>

namespace LumTests {

/// Memory of this process that takes space, in bytes.
std::size_t usedMemory();

/// Descriptors or handles that this process has open.
std::size_t openDescriptorCount();

/// Threads of this process that have not ended.
std::size_t threadCount();

} // namespace LumTests
