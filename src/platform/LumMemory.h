#pragma once

#include <cstddef>

namespace LumPlatform {

/// Says that all of this memory is about to be filled for the first time.
///
/// Only a hint: where the system can, it brings in large memory by large pages, which takes a fraction of the time that
/// as many small ones do. Changes nothing in the memory, cannot fail, and leaves the last error as it is.
void ExpectFilling(void* memory, std::size_t size);

/// Makes room in a string or vector that is about to be filled to that length:
///
///     LumPlatform::ReserveToFill(content, size);
///     content.resize(size);
template <typename Container>
void ReserveToFill(Container& container, std::size_t length)
{
    container.reserve(length);
    ExpectFilling(container.data(), length * sizeof(typename Container::value_type));
}

} // namespace LumPlatform
