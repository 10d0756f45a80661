#include "FetchFormat.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace LumFetch {

namespace {

std::string fixed(double value, int decimals)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << value;
    return text.str();
}

} // namespace

std::string FormatTime(double seconds)
{
    constexpr double kMillisecondsPerSecond = 1000;
    if (seconds < 1) {
        return fixed(seconds * kMillisecondsPerSecond, 0) + " ms";
    }
    return fixed(seconds, 2) + " s";
}

std::string FormatSize(std::size_t bytes)
{
    constexpr double kStep = 1024;
    if (bytes < static_cast<std::size_t>(kStep)) {
        return std::to_string(bytes) + " B";
    }
    const double kibibytes = static_cast<double>(bytes) / kStep;
    return kibibytes < kStep ? fixed(kibibytes, 1) + " KiB" : fixed(kibibytes / kStep, 2) + " MiB";
}

std::string FormatCount(std::size_t count, const std::string& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string AlignRight(const std::string& text, std::size_t width)
{
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string AlignLeft(const std::string& text, std::size_t width)
{
    return text + std::string(width - std::min(width, text.size()), ' ');
}

std::string Shorten(const std::string& text, std::size_t width)
{
    const std::string gap = "...";
    if (text.size() <= width || width <= gap.size()) {
        return text;
    }
    const std::size_t tail = (width - gap.size()) / 2;
    const std::size_t head = width - gap.size() - tail;
    return text.substr(0, head) + gap + text.substr(text.size() - tail);
}

std::string Printable(std::string text)
{
    constexpr unsigned char kFirstPrintable = 0x20;
    constexpr unsigned char kDelete = 0x7F;
    for (char& character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < kFirstPrintable || byte == kDelete) {
            character = ' ';
        }
    }
    return text;
}

} // namespace LumFetch
