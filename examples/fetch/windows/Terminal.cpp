#include "Terminal.h"

namespace LumFetch {

std::optional<Terminal> Terminal::OfStandardOutput()
{
    // Older consoles show control sequences as text: plain lines are right on all of them.
    return std::nullopt;
}

} // namespace LumFetch
