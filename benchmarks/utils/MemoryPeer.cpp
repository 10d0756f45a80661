#include "Peers.h"

#include <string.h> // explicit_bzero is in no header of C++

namespace LumBench {

namespace {

void wipe(void* data, std::size_t size)
{
    explicit_bzero(data, size);
}

[[maybe_unused]] const WipePeer& registered = AllPeers().wipe.emplace_back(WipePeer{"explicit_bzero", wipe});

} // namespace

} // namespace LumBench
