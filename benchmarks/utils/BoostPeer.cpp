#include "Peers.h"

#include <boost/beast/core/detail/base64.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

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

std::string generateUuid()
{
    static boost::uuids::random_generator generator;
    return boost::uuids::to_string(generator());
}

[[maybe_unused]] const Base64Peer& registered =
    AllPeers().base64.emplace_back(Base64Peer{"Boost Beast", encode, decode});
[[maybe_unused]] const UuidPeer& registeredUuid =
    AllPeers().uuid.emplace_back(UuidPeer{"Boost random_generator", generateUuid});

} // namespace

} // namespace LumBench
