#pragma once

#include "common/utils/LumTextUtils.h"

#include <unicode/ustring.h>

#include <cstdint>
#include <optional>
#include <string>

namespace LumTests {

/// Nothing for text that is not valid.
inline std::optional<LumUtils::WideString> toWideByIcu(const std::string& text)
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

inline std::optional<std::string> toNarrowByIcu(const LumUtils::WideString& text)
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
