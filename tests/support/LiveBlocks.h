#pragma once

#include <cstddef>

namespace LumTests::LiveBlocks {

/// The blocks that came of operator new and are not freed. Any thread may call these.

void add(void* block);

/// Whatever is freed; what was never added is left out of account where such memory is freed too.
void remove(void* block);

std::ptrdiff_t count();

} // namespace LumTests::LiveBlocks
