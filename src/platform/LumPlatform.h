#pragma once

/// The platform calls of the library, under the reference platform's names. This is the one place that asks which
/// system it is on: on Windows the calls are the system's own, elsewhere they come from src/platform/posix.

#ifdef _WIN32
#include "platform/windows/WindowsPlatform.h"
#else
#include "platform/posix/PosixPlatform.h"
#endif
