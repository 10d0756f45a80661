#pragma once

#include <algorithm>
#include <string_view>

namespace LumUtils {

/// The classification of ASCII characters, which protocols are made of. Unlike that of the runtime library it does not
/// depend on the host's locale, and takes any char.
namespace Ascii {

constexpr bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

constexpr bool isAlphanumeric(char character)
{
    return isDigit(character) || (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

constexpr char toLower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

constexpr bool isHexDigit(char character)
{
    return isDigit(character) || (toLower(character) >= 'a' && toLower(character) <= 'f');
}

inline bool equalsIgnoringCase(std::string_view left, std::string_view right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char one, char other) { return toLower(one) == toLower(other); });
}

} // namespace Ascii

} // namespace LumUtils
