#include "Peers.h"

#include <openssl/evp.h>

namespace LumBench {

namespace {

const unsigned char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::size_t encode(const std::string& bytes, char* text)
{
    return static_cast<std::size_t>(
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text), bytesOf(bytes), static_cast<int>(bytes.size())));
}

std::size_t decode(const std::string& text, char* bytes)
{
    return static_cast<std::size_t>(
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes), bytesOf(text), static_cast<int>(text.size())));
}

[[maybe_unused]] const Base64Peer& registered = AllPeers().base64.emplace_back(Base64Peer{"OpenSSL", encode, decode});

} // namespace

} // namespace LumBench
