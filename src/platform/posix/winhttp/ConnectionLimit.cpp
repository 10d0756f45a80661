#include "platform/posix/winhttp/ConnectionLimit.h"

#include <algorithm>

#include <sys/resource.h>

namespace LumPlatform {

std::size_t connectionLimit()
{
    constexpr std::size_t kFewest = 4;
    constexpr std::size_t kMost = 1024;
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return kMost;
    }
    return std::clamp<std::size_t>(limit.rlim_cur / 2, kFewest, kMost);
}

} // namespace LumPlatform
