#pragma once

#include <cstddef>

namespace LumBench {

/// How the program that runs the loads and the one that makes the report call the clients.
namespace WindowsLoadNames {

constexpr const char* kLibrary = "library";
constexpr const char* kSessionPerRequest = "WinHTTP loop, session per request";
constexpr const char* kOneSession = "WinHTTP loop, one session";

} // namespace WindowsLoadNames

constexpr std::size_t kWindowsSmallBody = 32;
constexpr std::size_t kWindowsMediumBody = std::size_t{64} << 10U;

} // namespace LumBench
