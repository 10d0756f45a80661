#include "common/utils/LumTimeUtils.h"

#include "platform/LumPlatform.h"

#include <array>
#include <ctime>
#include <string_view>

namespace LumUtils {

namespace {

constexpr std::size_t kBufferSize = 256;

/// By a plain pointer: compilers warn of a pattern that is not a literal, and here it is the caller's, checked below.
std::size_t (*const formatTime)(char*, std::size_t, const char*, const std::tm*) = std::strftime;

bool isOneOf(char character, std::string_view set)
{
    return set.find(character) != std::string_view::npos;
}

/// The conversions that may stand after "%" and a modifier; after "#", which asks the reference platform for another
/// form, any may.
std::string_view conversionsAfter(char modifier)
{
    switch (modifier) {
    case 'E':
        return "cCxXyY";
    case 'O':
        return "deHImMSuUVwWy";
    default:
        return "aAbBcCdDeFgGhHIjmMnprRStTuUVwWxXyYzZ%";
    }
}

/// Whether every conversion is one that strftime defines. Whatever stands behind a NUL does not count.
bool isDefinedPattern(std::string_view format)
{
    format = format.substr(0, format.find('\0'));
    for (std::size_t at = format.find('%'); at != std::string_view::npos; at = format.find('%', at + 1)) {
        ++at;
        const char modifier = at < format.size() && isOneOf(format[at], "EO#") ? format[at++] : '\0';
        if (at == format.size() || !isOneOf(format[at], conversionsAfter(modifier))) {
            return false;
        }
    }
    return true;
}

} // namespace

std::string formatCurrentTime(const std::string& format)
{
    if (!isDefinedPattern(format)) {
        return {};
    }
    const __time64_t now = _time64(nullptr);
    std::tm local{};
    if (now == -1 || _localtime64_s(&local, &now) != 0) {
        return {};
    }
    std::array<char, kBufferSize> buffer{};
    if (formatTime(buffer.data(), buffer.size(), format.c_str(), &local) == 0) {
        return {};
    }
    return buffer.data();
}

} // namespace LumUtils
