#pragma once

#include <string_view>

namespace LumPlatform {

/// Whether the texts are the same but for the case of ASCII letters.
bool equalsIgnoringCase(std::string_view left, std::string_view right);

/// Whether the header line is the field of that name, which is given with its colon: "Location:".
bool isField(std::string_view line, std::string_view nameAndColon);

/// The text without the spaces and tabs around it (RFC 9110 section 5.5).
std::string_view withoutBlanks(std::string_view text);

} // namespace LumPlatform
