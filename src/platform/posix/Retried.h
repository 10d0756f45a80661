#pragma once

#include <cerrno>
#include <cstddef>

#include <unistd.h>

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

/// Writes all of it at the position, or fails.
inline bool WriteAll(int descriptor, const char* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = Retried([&] { return write(descriptor, data, size); });
        if (count < 0) {
            return false;
        }
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace LumPlatform
