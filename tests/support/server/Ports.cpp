#include "support/server/Ports.h"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace LumTestServer {

namespace {

sockaddr_in ipv4Loopback(std::uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

Socket newSocket(int family, int flags = 0)
{
    Socket created(socket(family, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    if (!created.IsOpen()) {
        throw std::system_error(errno, std::generic_category(), "socket");
    }
    return created;
}

} // namespace

Socket bindIpv4(std::uint16_t port)
{
    Socket bound = newSocket(AF_INET);
    const sockaddr_in address = ipv4Loopback(port);
    if (bind(bound.Descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::system_error(errno, std::generic_category(), "bind");
    }
    return bound;
}

Socket bindIpv6(std::uint16_t port)
{
    Socket bound = newSocket(AF_INET6);
    const int yes = 1;
    setsockopt(bound.Descriptor(), IPPROTO_IPV6, IPV6_V6ONLY, &yes, sizeof(yes));
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
    address.sin6_addr = in6addr_loopback;
    if (bind(bound.Descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        bound.Close();
    }
    return bound;
}

std::uint16_t boundPort(const Socket& socket)
{
    sockaddr_in address = {};
    socklen_t length = sizeof(address);
    if (getsockname(socket.Descriptor(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "getsockname");
    }
    return ntohs(address.sin_port);
}

std::uint16_t findFreePort()
{
    return boundPort(bindIpv4(0));
}

Socket beginConnecting(std::uint16_t port)
{
    Socket connecting = newSocket(AF_INET, SOCK_NONBLOCK);
    const sockaddr_in address = ipv4Loopback(port);
    connect(connecting.Descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    return connecting;
}

bool isAccepting(std::uint16_t port)
{
    const Socket probe = newSocket(AF_INET);
    const sockaddr_in address = ipv4Loopback(port);
    return connect(probe.Descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

} // namespace LumTestServer
