#pragma once

#include <cerrno>

namespace LumPlatform {

/// Makes a call of the system again for as long as a signal interrupts it.
template <typename Call>
auto Retried(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace LumPlatform
