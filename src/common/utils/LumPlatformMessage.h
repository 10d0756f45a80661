#pragma once

#include "platform/LumPlatform.h"

#include <string>

namespace LumUtils {

/// The platform's message for a number, trimmed, in its neutral language; "Unknown error code " and the number if the
/// platform has none. Takes the system's messages, and before them those of `module` if `flags` has
/// FORMAT_MESSAGE_FROM_HMODULE; other flags are 0.
std::string platformMessage(DWORD code, DWORD flags = 0, HMODULE module = nullptr);

} // namespace LumUtils
