#pragma once

#include "support/server/Socket.h"

#include <cstdint>

namespace LumTestServer {

/// A port that refuses connections, on 127.0.0.1 and on ::1. It is bound, so that nobody else listens on it either.
class ClosedPort {
public:
    ClosedPort();

    std::uint16_t Port() const;

private:
    Socket ipv4;
    Socket ipv6;
};

} // namespace LumTestServer
