#pragma once

#include "common/utils/codec/Base64Codec.h"

#include <openssl/evp.h>

#include <algorithm>
#include <string>

namespace LumTests {

inline std::string encodedByOpenssl(const std::string& bytes)
{
    std::basic_string<unsigned char> text(LumUtils::Codec::base64Length(bytes.size()) + 1, 0); // it adds a NUL
    const int length = EVP_EncodeBlock(text.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                                       static_cast<int>(bytes.size()));
    return std::string(text.begin(), text.begin() + length);
}

inline std::string decodedByOpenssl(const std::string& text)
{
    std::basic_string<unsigned char> bytes(text.size() / 4 * 3, 0);
    const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    const auto padding = std::count(text.begin(), text.end(), '='); // it counts padding as bytes
    return length < 0 ? "invalid" : std::string(bytes.begin(), bytes.begin() + length - padding);
}

} // namespace LumTests
