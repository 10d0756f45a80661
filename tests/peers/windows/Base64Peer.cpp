#include "peers/Base64Peer.h"

#include <windows.h>

#include <wincrypt.h>

namespace LumTests {

// Neither function knows an empty input: the one refuses it, and to the other a length of 0 means that a NUL ends the
// text.

std::string encodedByPeer(const std::string& bytes)
{
    constexpr DWORD kFormat = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
    const auto* const data = reinterpret_cast<const BYTE*>(bytes.data());
    const auto size = static_cast<DWORD>(bytes.size());
    DWORD length = 0;
    if (bytes.empty() || CryptBinaryToStringA(data, size, kFormat, nullptr, &length) == FALSE) {
        return bytes.empty() ? "" : "invalid";
    }
    std::string text(length, '\0'); // with a NUL
    CryptBinaryToStringA(data, size, kFormat, text.data(), &length);
    text.resize(length);
    return text;
}

std::string decodedByPeer(const std::string& text)
{
    const auto size = static_cast<DWORD>(text.size());
    std::string bytes(text.size(), '\0');
    auto length = static_cast<DWORD>(bytes.size());
    if (text.empty() ||
        CryptStringToBinaryA(text.data(), size, CRYPT_STRING_BASE64, reinterpret_cast<BYTE*>(bytes.data()), &length,
                             nullptr, nullptr) == FALSE) {
        return text.empty() ? "" : "invalid";
    }
    bytes.resize(length);
    return bytes;
}

} // namespace LumTests
