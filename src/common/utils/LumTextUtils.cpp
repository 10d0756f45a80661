#include "common/utils/LumTextUtils.h"

#include "platform/LumPlatform.h"

#include <cctype>
#include <limits>

namespace LumUtils {

namespace {

bool isSpace(char character)
{
    return std::isspace(static_cast<unsigned char>(character)) != 0;
}

/// Whether the platform's calls, which count in int, can take a text of this length.
bool fitsInt(std::size_t length)
{
    return length <= static_cast<std::size_t>(std::numeric_limits<int>::max());
}

} // namespace

std::string trimString(const std::string& text)
{
    return std::string(trimView(text));
}

std::string_view trimView(std::string_view text)
{
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

WideString utf8ToUtf16(const std::string& text)
{
    if (text.empty() || !fitsInt(text.size())) {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int measured = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), length, nullptr, 0);
    if (measured <= 0) {
        return {};
    }
    WideString wide(static_cast<std::size_t>(measured), WideChar{});
    const int written = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), length, wide.data(), measured);
    return written > 0 ? wide : WideString();
}

std::string utf16ToUtf8(const WideString& text)
{
    if (text.empty() || !fitsInt(text.size())) {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int measured =
        WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), length, nullptr, 0, nullptr, nullptr);
    if (measured <= 0) {
        return {};
    }
    std::string narrow(static_cast<std::size_t>(measured), '\0');
    const int written = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), length, narrow.data(), measured,
                                            nullptr, nullptr);
    return written > 0 ? narrow : std::string();
}

} // namespace LumUtils
