#include "Peers.h"

#include <unicode/ustring.h>

namespace LumBench {

namespace {

constexpr std::int32_t kEnough = 1 << 30;

std::size_t toUtf16(const std::string& text, char16_t* units)
{
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(units, kEnough, &length, text.data(), static_cast<std::int32_t>(text.size()), &error);
    return U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0;
}

std::size_t toUtf8(const std::u16string& text, char* bytes)
{
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(bytes, kEnough, &length, text.data(), static_cast<std::int32_t>(text.size()), &error);
    return U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0;
}

[[maybe_unused]] const TextPeer& registered = AllPeers().text.emplace_back(TextPeer{"ICU", toUtf16, toUtf8});

} // namespace

} // namespace LumBench
