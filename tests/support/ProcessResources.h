#pragma once

#include <cstddef>
#include <string>

namespace LumTests {

/// Memory of this process that takes space, in bytes.
std::size_t usedMemory();

/// The most that it ever was.
std::size_t peakMemory();

/// Memory that the system could give, in bytes.
std::size_t availableMemory();

/// Memory in blocks of the heap that are allocated, in bytes. A build with a sanitizer has a heap of its own, of which
/// this is next to nothing.
std::size_t heapInUse();

/// Lets the heap give back to the system what it can.
void giveFreeMemoryBack();

/// Descriptors or handles that this process has open.
std::size_t openDescriptorCount();

/// Whether that process, a child of this one, has a descriptor of that file. Always false on Windows, where a handle
/// that is inherited keeps its share mode and shows in that.
bool hasDescriptorOf(unsigned long process, const std::string& path);

/// Threads of this process that have not ended.
std::size_t threadCount();

} // namespace LumTests
