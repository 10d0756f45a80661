#include "common/utils/LumBase64.h"

#include "common/utils/codec/Base64Codec.h"
#include "common/utils/codec/KernelChoice.h"

#include <algorithm>

namespace LumUtils {

namespace {

constexpr std::size_t kLineLength = 76;

std::size_t usableLength(std::int32_t length)
{
    return length > 0 ? static_cast<std::size_t>(length) : 0;
}

std::string inLines(const std::string& text)
{
    std::string lines;
    lines.reserve(text.size() + text.size() / kLineLength);
    for (std::size_t position = 0; position < text.size(); position += kLineLength) {
        lines.append(text, position, kLineLength);
        if (text.size() - position >= kLineLength) {
            lines += '\n';
        }
    }
    return lines;
}

std::string withoutLineFeeds(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    return text;
}

std::string decodeAll(const std::string& text)
{
    return Codec::base64Decode(Codec::bestKernels(), text.data(), text.size());
}

} // namespace

std::string base64Encode(const std::string& bytes, bool urlSafe)
{
    return Codec::base64Encode(Codec::bestKernels(), bytes.data(), bytes.size(), urlSafe);
}

std::string base64Encode(const void* bytes, std::int32_t length, bool urlSafe)
{
    return Codec::base64Encode(Codec::bestKernels(), bytes, usableLength(length), urlSafe);
}

std::string base64EncodeWrapped(const std::string& bytes)
{
    return inLines(base64Encode(bytes));
}

std::string base64EncodeWrapped(const void* bytes, std::int32_t length)
{
    return inLines(base64Encode(bytes, length, false));
}

std::string base64Decode(const std::string& text, bool removeLineFeeds)
{
    return removeLineFeeds ? decodeAll(withoutLineFeeds(text)) : decodeAll(text);
}

} // namespace LumUtils
