#include "common/utils/LumTextUtils.h"

#include "common/utils/codec/KernelChoice.h"
#include "common/utils/codec/UtfCodec.h"
#include "platform/LumPlatform.h"

#include <cctype>
#include <optional>
#include <utility>

namespace LumUtils {

namespace {

bool isSpace(char character)
{
    return std::isspace(static_cast<unsigned char>(character)) != 0;
}

/// The converted text. For none, the empty text with the last error set as the platform's strict conversion leaves it.
template <typename Text>
Text valueOrFailure(std::optional<Text> converted)
{
    if (!converted) {
        SetLastError(ERROR_NO_UNICODE_TRANSLATION);
        return {};
    }
    return *std::move(converted);
}

} // namespace

std::string trimString(const std::string& text)
{
    return std::string(trimView(text));
}

std::string_view trimView(std::string_view text)
{
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

WideString utf8ToUtf16(const std::string& text)
{
    return text.empty() ? WideString() : valueOrFailure(Codec::utf8ToUtf16(Codec::bestKernels(), text));
}

std::string utf16ToUtf8(const WideString& text)
{
    return text.empty() ? std::string() : valueOrFailure(Codec::utf16ToUtf8(Codec::bestKernels(), text));
}

} // namespace LumUtils
