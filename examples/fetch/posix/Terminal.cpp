#include "Terminal.h"

#include <cstdlib>
#include <string>

#include <sys/ioctl.h>
#include <unistd.h>

namespace LumFetch {

std::optional<Terminal> Terminal::OfStandardOutput()
{
    const char* const kind = std::getenv("TERM");
    winsize size{};
    if (isatty(STDOUT_FILENO) == 0 || kind == nullptr || std::string(kind) == "dumb" ||
        ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
        return std::nullopt;
    }
    return Terminal{size.ws_row, size.ws_col};
}

} // namespace LumFetch
