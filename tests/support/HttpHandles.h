#pragma once

#include <cstddef>

namespace LumTests {

/// The library's WinHTTP handles that are open: sessions, connections and requests, in this process.
std::size_t openHttpHandles();

} // namespace LumTests
