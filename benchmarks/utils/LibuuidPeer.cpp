#include "Peers.h"

#include <uuid/uuid.h>

namespace LumBench {

namespace {

std::string generate()
{
    constexpr std::size_t kLength = 36;
    uuid_t uuid;
    uuid_generate_random(uuid);
    char text[kLength + 1];
    uuid_unparse_lower(uuid, text);
    return std::string(text, kLength);
}

[[maybe_unused]] const UuidPeer& registered = AllPeers().uuid.emplace_back(UuidPeer{"libuuid", generate});

} // namespace

} // namespace LumBench
