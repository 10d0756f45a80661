#pragma once

#include "common/utils/codec/CodecKernels.h"

/// The kernels for x86 processors with AVX2, see CodecKernels. Their sources are compiled for such a processor: they
/// hold intrinsics and plain loops only.

namespace LumUtils::Codec {

Progress encodeBase64Avx2(const unsigned char* bytes, std::size_t length, bool urlSafe, char* text);
Progress decodeBase64Avx2(const char* text, std::size_t length, unsigned char* bytes);
Progress measureUtf8Avx2(const char* text, std::size_t length);
Progress convertUtf8Avx2(const char* text, std::size_t length, void* units, std::size_t room);
Progress measureUtf16Avx2(const void* units, std::size_t length);
Progress convertUtf16Avx2(const void* units, std::size_t length, char* text, std::size_t room);

} // namespace LumUtils::Codec
