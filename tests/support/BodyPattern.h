#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace LumTests {

/// The byte at a position of the bodies that the test server makes up. All 256 values occur, NUL among them, and the
/// sequence does not repeat at any size in which bodies are read.
inline char bodyPatternByte(std::uint64_t position)
{
    return static_cast<char>((position * 7 + (position >> 8U) * 13 + (position >> 16U) * 31) & 0xFFU);
}

inline void fillWithBodyPattern(char* bytes, std::size_t count, std::uint64_t position)
{
    for (std::size_t index = 0; index < count; ++index) {
        bytes[index] = bodyPatternByte(position + index);
    }
}

inline std::string makeBodyPattern(std::size_t count)
{
    std::string body(count, '\0');
    fillWithBodyPattern(body.data(), count, 0);
    return body;
}

inline bool isBodyPattern(const std::string& body)
{
    for (std::size_t index = 0; index < body.size(); ++index) {
        if (body[index] != bodyPatternByte(index)) {
            return false;
        }
    }
    return true;
}

constexpr std::uint64_t kChecksumStart = 0xCBF29CE484222325U;

/// FNV-1a, continued from an earlier value.
inline std::uint64_t checksum(const char* bytes, std::size_t count, std::uint64_t value = kChecksumStart)
{
    for (std::size_t index = 0; index < count; ++index) {
        value = (value ^ static_cast<unsigned char>(bytes[index])) * 0x100000001B3U;
    }
    return value;
}

} // namespace LumTests
