#pragma once

#include <cstddef>

namespace LumTests {

/// Puts the same memory again and again, as FoldedMemory does, under a range that starts at a page and is there
/// already. What the range held is lost. Throws std::bad_alloc.
void foldMemory(char* start, std::size_t size);

} // namespace LumTests
