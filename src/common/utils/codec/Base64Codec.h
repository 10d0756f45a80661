#pragma once

#include "common/utils/codec/CodecKernels.h"

#include <string>

/// Base64 with a choice of kernels; the library's users find it in LumBase64.h.

namespace LumUtils::Codec {

/// How many characters that many bytes become.
constexpr std::size_t base64Length(std::size_t byteCount)
{
    return byteCount / 3 * 4 + (byteCount % 3 == 0 ? 0 : 4);
}

/// Writes base64Length(length) characters.
void encodeBase64(const CodecKernels& kernels, const unsigned char* bytes, std::size_t length, bool urlSafe,
                  char* text);

/// Writes the bytes of whole groups; the last group, if it is in the text, may be padded or short, but has two
/// characters at least. There is room for three bytes for each group that is begun, less one for each character that
/// the last one lacks. Returns how many were written. Throws std::runtime_error as base64Decode does.
std::size_t decodeBase64(const CodecKernels& kernels, const char* text, std::size_t length, bool hasLastGroup,
                         unsigned char* bytes);

std::string base64Encode(const CodecKernels& kernels, const void* bytes, std::size_t length, bool urlSafe);
std::string base64Decode(const CodecKernels& kernels, const char* text, std::size_t length);

} // namespace LumUtils::Codec
