#include "support/FreePort.h"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumLocalServer {

namespace {

/// Has the system choose the port of the socket; 0 on failure.
std::uint16_t bindToAnyPort(int socketHandle)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(socketHandle, generic, length) != 0 || getsockname(socketHandle, generic, &length) != 0) {
        return 0;
    }
    return ntohs(address.sin_port);
}

} // namespace

std::uint16_t FindFreePort()
{
    const int socketHandle = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socketHandle < 0) {
        throw std::system_error(errno, std::generic_category(), "socket");
    }
    const std::uint16_t port = bindToAnyPort(socketHandle);
    const int failure = errno;
    close(socketHandle);
    if (port == 0) {
        throw std::system_error(failure, std::generic_category(), "bind to a free port");
    }
    return port;
}

} // namespace LumLocalServer
