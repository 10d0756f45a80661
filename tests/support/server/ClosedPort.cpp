#include "support/server/ClosedPort.h"

#include "support/server/Ports.h"

namespace LumTestServer {

ClosedPort::ClosedPort() : ipv4(bindIpv4(0)), ipv6(bindIpv6(boundPort(ipv4))) {}

std::uint16_t ClosedPort::Port() const
{
    return boundPort(ipv4);
}

} // namespace LumTestServer
