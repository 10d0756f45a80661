#pragma once

#include <cstddef>

namespace LumTests {

/// Where the module's own operator new gets its memory; null is a failure of it, and what is thrown goes to its caller.
using ModuleAllocate = void* (*)(std::size_t size);

/// Where everything goes that the module frees, also what did not come of operator new. Must not throw.
using ModuleRelease = void (*)(void* memory);

/// Sends the module's calls there, for the rest of the process. A null `release` leaves those that free.
void redirectModuleMemory(ModuleAllocate allocate, ModuleRelease release);

} // namespace LumTests
