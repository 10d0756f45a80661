#pragma once

#include <cstddef>

namespace LumPlatform {

/// How many connections the process may have, in use and kept together: half of the descriptors that it may open, so
/// that the host can open its files, and 1024 at the most.
std::size_t connectionLimit();

} // namespace LumPlatform
