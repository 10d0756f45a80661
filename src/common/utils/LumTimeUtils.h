#pragma once

#include <string>

namespace LumUtils {

/// The current local time by a pattern of strftime:
///
///     LumUtils::formatCurrentTime("%Y-%m-%d %H:%M:%S") == "2024-05-31 17:04:09"
///
/// Empty if the result is longer than 255 bytes, if the time cannot be told, if the pattern is empty (as is its
/// result), or if it holds a conversion that C does not define: the runtime would be free to end the process. Some
/// runtimes of Windows do not know the conversions that came with C99 (such as %F and %T), and give the empty result.
///
/// Pattern and result are in the encoding of the C locale that the host has set, which also chooses the names of days
/// and months. The time zone is the process's. Never throws but std::bad_alloc. Any thread may call it, several at
/// once.
std::string formatCurrentTime(const std::string& format);

} // namespace LumUtils
