#include "Peers.h"

namespace LumBench {

Peers& AllPeers()
{
    static Peers peers;
    return peers;
}

} // namespace LumBench
