#pragma once

#include "common/utils/ILumError.h"
#include "common/utils/LumError.h"

#include <any>
#include <optional>

namespace LumUtils {

/// The platform's number for what caused the error, which is the int under LumErrorUnderlyingErrorCode; nothing if the
/// error has none. LumNetworking::LumWinHttpErrorNumber names those of HTTP requests; those of files are the system's.
///
///     if (LumUtils::platformErrorNumber(*error) == LumNetworking::LumWinHttpErrorNumber::kNameNotResolved) {
///         ask("Is the address right?");
///     }
///
/// It never throws.
inline std::optional<int> platformErrorNumber(const ILumError& error)
{
    const auto found = error.getUserInfo().find(LumErrorUnderlyingErrorCode);
    const int* const number = found == error.getUserInfo().end() ? nullptr : std::any_cast<int>(&found->second);
    return number == nullptr ? std::nullopt : std::optional<int>(*number);
}

} // namespace LumUtils
