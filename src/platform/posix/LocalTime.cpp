#include "platform/posix/PosixPlatform.h"

#include <cerrno>
#include <ctime>

// NOLINTBEGIN(bugprone-reserved-identifier): the names are the reference platform's.

__time64_t _time64(__time64_t* result)
{
    if (result != nullptr) {
        errno = EINVAL;
        return -1;
    }
    return std::time(nullptr);
}

int _localtime64_s(std::tm* local, const __time64_t* seconds)
{
    if (local == nullptr || seconds == nullptr) {
        return EINVAL;
    }
    const std::time_t time = *seconds;
    return localtime_r(&time, local) == nullptr ? EINVAL : 0;
}

// NOLINTEND(bugprone-reserved-identifier)
