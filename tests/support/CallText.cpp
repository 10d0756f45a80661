#include "support/CallText.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace LumTests {

std::string hex(std::uint64_t value)
{
    char text[32] = {};
    std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

std::string quoted(const std::u16string& text)
{
    std::string out = "\"";
    for (const char16_t unit : text) {
        if (unit >= 0x20 && unit < 0x7F) {
            out += static_cast<char>(unit);
            continue;
        }
        char escape[8] = {};
        std::snprintf(escape, sizeof(escape), "\\u%04X", static_cast<unsigned int>(unit));
        out += unit == u'\r' ? "\\r" : unit == u'\n' ? "\\n" : unit == 0 ? "\\0" : escape;
    }
    return out + "\"";
}

std::string quoted(const WCHAR* text)
{
    return text == nullptr ? "null" : quoted(std::u16string(text));
}

std::string bytes(const void* data, std::size_t size)
{
    if (data == nullptr) {
        return "null";
    }
    const auto* const text = static_cast<const char*>(data);
    std::u16string units;
    std::transform(text, text + size, std::back_inserter(units),
                   [](char byte) { return static_cast<char16_t>(static_cast<unsigned char>(byte)); });
    return quoted(units);
}

std::string pointer(const void* value)
{
    return value == nullptr ? "null" : "set";
}

} // namespace LumTests
