#pragma once

#include "support/server/Socket.h"

#include <cstdint>

namespace LumTestServer {

/// A socket bound to the port of 127.0.0.1, or any free one if it is 0. Throws if there is none.
Socket bindIpv4(std::uint16_t port);

/// A socket bound to the port of ::1 only; not open if the port is taken.
Socket bindIpv6(std::uint16_t port);

std::uint16_t boundPort(const Socket& socket);

/// A port of 127.0.0.1 on which nobody listens now.
std::uint16_t findFreePort();

/// A socket that connects, or tries to, to the port of 127.0.0.1.
Socket beginConnecting(std::uint16_t port);

/// Whether somebody accepts connections on the port of 127.0.0.1.
bool isAccepting(std::uint16_t port);

} // namespace LumTestServer
