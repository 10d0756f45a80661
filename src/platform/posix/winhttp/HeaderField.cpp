#include "platform/posix/winhttp/HeaderField.h"

#include <strings.h>

namespace LumPlatform {

namespace {

constexpr std::string_view kBlanks = " \t";

char toLower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

} // namespace

bool equalsIgnoringCase(std::string_view left, std::string_view right)
{
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

bool isField(std::string_view line, std::string_view nameAndColon)
{
    // The first letter spares most of the comparisons.
    return line.size() >= nameAndColon.size() && toLower(line.front()) == toLower(nameAndColon.front()) &&
           equalsIgnoringCase(line.substr(0, nameAndColon.size()), nameAndColon);
}

std::string_view withoutBlanks(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

} // namespace LumPlatform
