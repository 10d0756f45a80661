#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif

#include <windows.h>
#include <winhttp.h>

/// The calling convention of the functions that hosts call, and of those that they hand over.
#define LUM_CDECL __cdecl

/// Before a function that hosts find by its name in the library.
#define LUM_EXPORT __declspec(dllexport)

#include <time.h>

/// The platform's name, as messages carry it.
constexpr const char* kLumPlatformName = "Windows";

/// Whether requests under way go on, and notify, when the module that started them is unloaded.
constexpr bool kLumRequestsOutliveModule = true;

/// The std::random_device to ask: the system's generator.
constexpr const char* kLumRandomDevice = "default";
