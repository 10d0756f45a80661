#pragma once

#include "platform/posix/PosixPlatform.h"

#include <curl/curl.h>

namespace LumPlatform {

/// The number under which the reference platform reports the failure; 0 for success.
DWORD winHttpError(CURLcode result);

} // namespace LumPlatform
