#pragma once

#include <cstddef>

namespace LumPlatform {

/// Says that all of this memory is about to be filled for the first time:
///
///     content.reserve(size);
///     LumPlatform::ExpectFilling(content.data(), size);
///     content.resize(size);
///
/// Only a hint: where the system can, it brings in large memory by large pages, which takes a fraction of the time that
/// as many small ones do. Changes nothing in the memory, cannot fail, and leaves the last error as it is.
void ExpectFilling(void* memory, std::size_t size);

} // namespace LumPlatform
