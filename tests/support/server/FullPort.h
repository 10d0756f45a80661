#pragma once

#include "support/server/Socket.h"

#include <cstdint>
#include <vector>

namespace LumTestServer {

/// A port of 127.0.0.1 on which connecting never ends: its queue is full, and nobody accepts from it.
class FullPort {
public:
    FullPort();

    std::uint16_t Port() const;

private:
    Socket listener;
    std::vector<Socket> waiting;
};

} // namespace LumTestServer
