#pragma once

#include <system_error>

namespace LumPlatform {

/// The number of the last error that a file call leaves which fails for this reason, so that it has a text of its own
/// on every system. Reasons: file_too_large, invalid_argument (the path is no path), not_enough_memory.
unsigned int FileErrorNumber(std::errc reason);

/// Sets the thread's last error to that number.
void SetLastFileError(std::errc reason);

} // namespace LumPlatform
