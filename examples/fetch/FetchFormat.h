#pragma once

#include <cstddef>
#include <string>

namespace LumFetch {

/// "12 ms", "1.25 s"
std::string FormatTime(double seconds);

/// "153 B", "34.3 KiB", "1.96 MiB"
std::string FormatSize(std::size_t bytes);

/// "1 request", "2 requests"
std::string FormatCount(std::size_t count, const std::string& noun);

/// The text with spaces before it, or after it, up to the width.
std::string AlignRight(const std::string& text, std::size_t width);
std::string AlignLeft(const std::string& text, std::size_t width);

/// The text, its middle replaced by "..." if it is longer than the width.
std::string Shorten(const std::string& text, std::size_t width);

/// The text without what could steer a terminal: a server or a user must not redraw it.
std::string Printable(std::string text);

} // namespace LumFetch
