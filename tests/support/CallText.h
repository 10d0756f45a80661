#pragma once

#include "platform/LumPlatform.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// The arguments of platform calls as text.

namespace LumTests {

std::string hex(std::uint64_t value);

/// The text in quotes; a unit outside ASCII as \uXXXX and a NUL as \0, so that it reads the same everywhere.
std::string quoted(const std::u16string& text);

/// As above, or "null".
std::string quoted(const WCHAR* text);

/// Bytes as quoted text, or "null".
std::string bytes(const void* data, std::size_t size);

/// "null" or "set".
std::string pointer(const void* value);

} // namespace LumTests
