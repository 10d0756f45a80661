#include "support/server/FullPort.h"

#include "support/server/Ports.h"

#include <cerrno>
#include <system_error>

#include <sys/socket.h>

namespace LumTestServer {

namespace {

/// More than a queue of length 0 takes.
constexpr int kWaitingConnections = 8;

} // namespace

FullPort::FullPort() : listener(bindIpv4(0))
{
    if (listen(listener.Descriptor(), 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "listen");
    }
    for (int count = 0; count < kWaitingConnections; ++count) {
        waiting.push_back(beginConnecting(Port()));
    }
}

std::uint16_t FullPort::Port() const
{
    return boundPort(listener);
}

} // namespace LumTestServer
