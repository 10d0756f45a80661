#pragma once

#include <cstddef>

/// Included by sources that are compiled for a processor that not every machine has: it must hold no code and include
/// none, since the linker may keep that source's copy of a function for the whole program.

namespace LumUtils::Codec {

/// How far a conversion has come, in units of what it reads and of what it writes.
struct Progress {
    std::size_t read = 0;
    std::size_t written = 0;
};

/// The fast ways through the bulk of a text. Each takes as much of the beginning as it can, which may be nothing, and
/// leaves the rest, as well as every decision about invalid input, to the plain code. None reads or writes outside of
/// what it is given. UTF-16 is passed untyped, because its unit has different types on different systems.
struct CodecKernels {
    const char* name;

    /// Takes whole groups of three bytes. The text has room for four of the alphabet's 64 characters for each.
    Progress (*encodeBase64)(const unsigned char* bytes, std::size_t length, const char* alphabet, char* text);

    /// Takes whole groups of four characters, up to the first that has no value. There is room for three bytes for
    /// each. There are values for the 128 characters of ASCII, with the highest bit set where there is none.
    Progress (*decodeBase64)(const char* text, std::size_t length, const unsigned char* values, unsigned char* bytes);

    /// Takes whole sequences of valid UTF-8, up to the first that is not, and counts the units of UTF-16 for them.
    Progress (*measureUtf8)(const char* text, std::size_t length);

    /// Converts valid UTF-8 into at most `room` units, in whole code points.
    Progress (*convertUtf8)(const char* text, std::size_t length, void* units, std::size_t room);

    /// Takes whole code points of valid UTF-16, and counts the bytes of UTF-8 for them.
    Progress (*measureUtf16)(const void* units, std::size_t length);

    /// Converts valid UTF-16 into at most `room` bytes, in whole code points.
    Progress (*convertUtf16)(const void* units, std::size_t length, char* text, std::size_t room);
};

} // namespace LumUtils::Codec
