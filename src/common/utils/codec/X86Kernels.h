#pragma once

#include "common/utils/codec/CodecKernels.h"

/// The kernels for x86 processors, see CodecKernels. The sources of those named Avx2 are compiled for processors with
/// AVX2 and POPCNT, of those named Avx512 for processors with AVX-512 BW and VBMI too; they hold intrinsics and plain
/// loops only.

namespace LumUtils::Codec {

Progress encodeBase64Avx2(const unsigned char* bytes, std::size_t length, const char* alphabet, char* text);
Progress decodeBase64Avx2(const char* text, std::size_t length, const unsigned char* values, unsigned char* bytes);
Progress measureUtf8Avx2(const char* text, std::size_t length);
Progress convertUtf8Avx2(const char* text, std::size_t length, void* units, std::size_t room);
Progress measureUtf16Avx2(const void* units, std::size_t length);
Progress convertUtf16Avx2(const void* units, std::size_t length, char* text, std::size_t room);

Progress encodeBase64Avx512(const unsigned char* bytes, std::size_t length, const char* alphabet, char* text);
Progress decodeBase64Avx512(const char* text, std::size_t length, const unsigned char* values, unsigned char* bytes);

} // namespace LumUtils::Codec
