#pragma once

#include "Windows/Cli/LumCliAbi.h"

#include <memory>
#include <string>
#include <string_view>

namespace LumUtilsCli {

/// Text as the managed half takes it, made of native text. Native text at the boundary is in the ANSI code page of the
/// calling thread, which is UTF-8 on systems that have no such thing.
class ManagedText {
public:
    /// The empty text.
    ManagedText() = default;

    /// The whole text, NULs included. Throws, as ManagedException:
    /// - System.ArgumentOutOfRangeException if it has more than INT_MAX bytes;
    /// - System.InsufficientMemoryException if there is no memory for it;
    /// - System.ArgumentException if it is not valid in the code page.
    static ManagedText Convert(const LumCliHostTable& host, std::string_view text);

    /// The text up to its first NUL, with replacement characters for what is not valid: for texts that people read. One
    /// that cannot be decoded at all is empty. Throws std::bad_alloc.
    static ManagedText Decode(const char* text);

    /// Lives as long as this text.
    LumCliText View() const;

private:
    std::unique_ptr<LumCliChar[]> units;
    std::int32_t length = 0;
};

/// Managed text as native text. Throws, as ManagedException:
/// - System.ArgumentNullException for the null text;
/// - System.ArgumentException if it cannot be encoded. (On Windows a character that the code page lacks becomes the
///   code page's default character.)
/// - System.ArgumentOutOfRangeException if the result has more than INT_MAX bytes.
/// Throws std::bad_alloc if there is no memory for it.
std::string toNativeText(const LumCliHostTable& host, const LumCliText& text);

} // namespace LumUtilsCli
