#pragma once

#include <system_error>

namespace LumPlatform {

/// Sets the thread's last error as a file call would that failed for this reason, so that the number has a text of its
/// own on every system. Reasons: file_too_large, invalid_argument (the path is no path), not_enough_memory.
void SetLastFileError(std::errc reason);

} // namespace LumPlatform
