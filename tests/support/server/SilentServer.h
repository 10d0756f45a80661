#pragma once

#include "support/server/DualListener.h"

#include <cstddef>
#include <mutex>
#include <vector>

namespace LumTestServer {

/// Accepts connections and neither reads from them nor writes to them.
class SilentServer {
public:
    SilentServer();

    std::uint16_t Port() const { return listener.Port(); }

    std::size_t ConnectionCount();

    /// Closes all connections that it has accepted so far.
    void CloseConnections();

private:
    std::mutex mutex;
    std::vector<Socket> connections;
    DualListener listener;
};

} // namespace LumTestServer
