#include "platform/posix/PosixPlatform.h"

#include <cerrno>
#include <cstddef>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// The beginning of a file; empty if it cannot be read. A status file fits whole.
std::string_view readBeginning(const char* path, char* buffer, std::size_t size)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return {};
    }
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t count = read(file, buffer + filled, size - filled);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        filled += static_cast<std::size_t>(count);
    }
    close(file);
    return {buffer, filled};
}

} // namespace

BOOL IsDebuggerPresent()
{
    constexpr std::string_view kLineBegin = "\nTracerPid:\t";
    char buffer[8192];
    const std::string_view status = readBeginning("/proc/self/status", buffer, sizeof(buffer));
    const std::size_t at = status.find(kLineBegin);
    // The tracer's number, or 0 where there is none.
    return at != std::string_view::npos && at + kLineBegin.size() < status.size() &&
                   status[at + kLineBegin.size()] != '0'
               ? TRUE
               : FALSE;
}
