#include "peers/UtfPeer.h"

#include <unicode/ustring.h>

#include <cstdint>

namespace LumTests {

std::optional<LumUtils::WideString> toWideByPeer(const std::string& text)
{
    std::u16string units(text.size() + 1, u'\0');
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(units.data(), static_cast<std::int32_t>(units.size()), &length, text.data(),
                  static_cast<std::int32_t>(text.size()), &error);
    return U_SUCCESS(error)
               ? std::optional<LumUtils::WideString>(LumUtils::WideString(units.begin(), units.begin() + length))
               : std::nullopt;
}

std::optional<std::string> toNarrowByPeer(const LumUtils::WideString& text)
{
    const std::u16string units(text.begin(), text.end());
    std::string bytes(text.size() * 3 + 1, '\0');
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(bytes.data(), static_cast<std::int32_t>(bytes.size()), &length, units.data(),
                static_cast<std::int32_t>(units.size()), &error);
    bytes.resize(U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0);
    return U_SUCCESS(error) ? std::optional<std::string>(bytes) : std::nullopt;
}

} // namespace LumTests
