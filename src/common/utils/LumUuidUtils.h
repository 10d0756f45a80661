#pragma once

#include <string>

namespace LumUtils {

/// A random UUID (version 4, RFC 4122 variant) of 36 lower-case ASCII characters:
///
///     const std::string id = LumUtils::generateUuid(); // "8f14e45f-ceea-467f-a8d3-1a2b3c4d5e6f"
///
/// Every call seeds a generator of its own with 32 bits from the system's random device, so that ids cannot be told
/// from one another's, but there are no more than 2^32 of them: fit for naming things, not for secrets. Throws what
/// std::random_device throws if the device fails. Any thread may call it, several at once.
std::string generateUuid();

} // namespace LumUtils
