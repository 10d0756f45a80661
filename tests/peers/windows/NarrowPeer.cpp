#include "peers/NarrowPeer.h"

#include <windows.h>

namespace LumTests {

/// Unit by unit, as no code page with characters of one or two bytes takes two units for one character.
std::optional<std::string> toJapaneseTextByPeer(const LumUtils::WideString& text)
{
    constexpr UINT kJapanese = 932;
    std::string narrow;
    for (const LumUtils::WideChar unit : text) {
        char bytes[2] = {};
        const int length =
            WideCharToMultiByte(kJapanese, WC_NO_BEST_FIT_CHARS, &unit, 1, bytes, sizeof(bytes), nullptr, nullptr);
        narrow.append(bytes, static_cast<std::size_t>(length));
    }
    return narrow;
}

} // namespace LumTests
