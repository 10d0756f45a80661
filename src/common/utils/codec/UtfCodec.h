#pragma once

#include "common/utils/LumTextUtils.h"
#include "common/utils/codec/CodecKernels.h"

#include <optional>
#include <string_view>

/// UTF-8 and UTF-16 with a choice of kernels; the library's users find them in LumTextUtils.h.

namespace LumUtils::Codec {

using WideView = std::basic_string_view<WideChar>;

/// How many units, or bytes, the text becomes; nothing if it is not valid.
std::optional<std::size_t> measureUtf8(const CodecKernels& kernels, std::string_view text);
std::optional<std::size_t> measureUtf16(const CodecKernels& kernels, WideView text);

/// Convert as many code points of a valid text as there is room for.
Progress convertUtf8(const CodecKernels& kernels, std::string_view text, WideChar* units, std::size_t room);
Progress convertUtf16(const CodecKernels& kernels, WideView text, char* bytes, std::size_t room);

/// The whole text converted; nothing if it is not valid.
std::optional<WideString> utf8ToUtf16(const CodecKernels& kernels, std::string_view text);
std::optional<std::string> utf16ToUtf8(const CodecKernels& kernels, WideView text);

} // namespace LumUtils::Codec
