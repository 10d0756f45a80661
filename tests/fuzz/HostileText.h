#pragma once

#include <string>
#include <string_view>

namespace LumFuzz {

/// UTF-16 that need not be valid. A text that begins with "u" holds units, the upper byte first; any other is a byte
/// for each unit.
inline std::u16string hostileText(std::string_view input)
{
    std::u16string text;
    if (input.empty() || input.front() != 'u') {
        for (const char byte : input) {
            text += static_cast<char16_t>(static_cast<unsigned char>(byte));
        }
        return text;
    }
    for (std::size_t index = 1; index + 1 < input.size(); index += 2) {
        const unsigned int upper = static_cast<unsigned char>(input[index]);
        text += static_cast<char16_t>(upper << 8U | static_cast<unsigned char>(input[index + 1]));
    }
    return text;
}

} // namespace LumFuzz
