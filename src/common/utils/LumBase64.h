#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

namespace LumUtils {

/// The bytes as base64:
///
///     base64Encode("f") == "Zg=="
///     base64Encode("\xFB\xFF", true) == "-_8."
///
/// The standard alphabet ends with "+/" and pads with "=". The URL-safe one ends with "-_" and pads with ".", which
/// needs no escape in a URL; decoders of other systems may expect "=" or no padding there. The text has no line breaks.
/// Fails only by allocation failure, which is thrown.
std::string base64Encode(const std::string& bytes, bool urlSafe = false);

/// The same for `length` bytes at `bytes`. A length of zero or less gives the empty text, and then the bytes are not
/// looked at.
std::string base64Encode(const void* bytes, std::int32_t length, bool urlSafe);

/// A pointer and a length need the third argument: without it the length would be taken for urlSafe.
template <typename Length, typename = std::enable_if_t<!std::is_same_v<Length, bool>>>
std::string base64Encode(const void* bytes, Length length) = delete;

/// The bytes as base64 in the standard alphabet, with a line feed after every 76 characters, the last ones included if
/// they are 76:
///
///     base64EncodeWrapped(std::string(60, 'f')) == 76 characters + "\n" + 4 characters
///
/// base64Decode reads it when it is told to remove line feeds.
std::string base64EncodeWrapped(const std::string& bytes);

/// The same for `length` bytes at `bytes`. A length of zero or less gives the empty text.
std::string base64EncodeWrapped(const void* bytes, std::int32_t length);

/// The bytes that the text stands for:
///
///     base64Decode("Zg==") == "f"
///     base64Decode("Zm9v\nYmFy\n", true) == "foobar"
///
/// Takes either alphabet, and a mixture of both. The last group of four may lack its third and fourth character or have
/// "=" or "." in their place; after padding in the third place the fourth character is not looked at. With
/// removeLineFeeds every line feed is first taken out of the text; no other white space ever is.
///
/// Throws std::runtime_error "Input is not valid base64-encoded data." for any other character, for padding in the
/// first two places of a group and for padding before the last group, and std::out_of_range "invalid string position"
/// if the last group is a single character of an alphabet. What comes first in the text decides; a single character
/// after the padded group does not make that group's padding wrong.
std::string base64Decode(const std::string& text, bool removeLineFeeds = false);

} // namespace LumUtils
