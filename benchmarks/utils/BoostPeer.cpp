#include "Peers.h"

#include <boost/beast/core/detail/base64.hpp>

namespace LumBench {

namespace {

std::size_t encode(const std::string& bytes, char* text)
{
    return boost::beast::detail::base64::encode(text, bytes.data(), bytes.size());
}

std::size_t decode(const std::string& text, char* bytes)
{
    return boost::beast::detail::base64::decode(bytes, text.data(), text.size()).first;
}

[[maybe_unused]] const Base64Peer& registered =
    AllPeers().base64.emplace_back(Base64Peer{"Boost Beast", encode, decode});

} // namespace

} // namespace LumBench
