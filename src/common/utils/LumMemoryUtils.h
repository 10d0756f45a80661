#pragma once

#include <cstddef>

namespace LumUtils {

/// Overwrites the bytes with zero, in a way that no optimiser removes, even if the memory is freed right after:
///
///     char password[64];
///     ...
///     LumUtils::secureZeroMemory(password, sizeof(password));
///
/// Wipes this range only: copies that the program made elsewhere stay. The caller owns the memory; nobody else may use
/// it meanwhile.
///
/// Throws std::invalid_argument("Invalid argument to SecureZeroMemory") if the pointer is null or the size is 0: wiping
/// nothing is a mistake of the caller, so do not call it for an empty buffer.
void secureZeroMemory(void* data, std::size_t size);

} // namespace LumUtils
