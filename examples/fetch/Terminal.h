#pragma once

#include <cstddef>
#include <optional>

namespace LumFetch {

/// The size of the terminal that the program writes to.
struct Terminal {
    std::size_t rows = 0;
    std::size_t columns = 0;

    /// The terminal behind standard output if it can be redrawn in place; nothing for a file or a pipe.
    static std::optional<Terminal> OfStandardOutput();
};

} // namespace LumFetch
