#include "peers/Base64Peer.h"

#include <openssl/evp.h>

#include <algorithm>

namespace LumTests {

std::string encodedByPeer(const std::string& bytes)
{
    std::basic_string<unsigned char> text((bytes.size() + 2) / 3 * 4 + 1, 0); // it adds a NUL
    const int length = EVP_EncodeBlock(text.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                                       static_cast<int>(bytes.size()));
    return std::string(text.begin(), text.begin() + length);
}

std::string decodedByPeer(const std::string& text)
{
    std::basic_string<unsigned char> bytes(text.size() / 4 * 3, 0);
    const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    const auto padding = std::count(text.begin(), text.end(), '='); // it counts padding as bytes
    return length < 0 ? "invalid" : std::string(bytes.begin(), bytes.begin() + length - padding);
}

} // namespace LumTests
