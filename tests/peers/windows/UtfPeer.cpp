#include "peers/UtfPeer.h"

#include <windows.h>

namespace LumTests {

// To both functions a length of 0 is an error.

std::optional<LumUtils::WideString> toWideByPeer(const std::string& text)
{
    LumUtils::WideString units(text.size(), L'\0');
    const auto size = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), size, units.data(), size);
    units.resize(static_cast<std::size_t>(length));
    return text.empty() || length > 0 ? std::optional<LumUtils::WideString>(units) : std::nullopt;
}

std::optional<std::string> toNarrowByPeer(const LumUtils::WideString& text)
{
    std::string bytes(text.size() * 3, '\0');
    const int length = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()),
                                           bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(length));
    return text.empty() || length > 0 ? std::optional<std::string>(bytes) : std::nullopt;
}

} // namespace LumTests
