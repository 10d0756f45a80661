#pragma once

#include <cstddef>

namespace LumTests {

/// The threads of this process. One that was joined may be counted for a moment longer.
std::size_t threadCount();

} // namespace LumTests
