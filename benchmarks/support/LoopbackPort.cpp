#include "support/LoopbackPort.h"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumLocalServer {

namespace {

[[noreturn]] void throwLastError(const char* call)
{
    throw std::system_error(errno, std::generic_category(), call);
}

} // namespace

LoopbackPort::LoopbackPort(Kind kind) : socketHandle(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    if (socketHandle < 0) {
        throwLastError("socket");
    }
    try {
        Bind();
        if (kind == Kind::Silent) {
            Listen();
        }
    } catch (...) {
        close(socketHandle);
        throw;
    }
}

LoopbackPort::~LoopbackPort()
{
    close(socketHandle);
}

void LoopbackPort::Bind()
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(socketHandle, generic, length) != 0) {
        throwLastError("bind");
    }
    if (getsockname(socketHandle, generic, &length) != 0) {
        throwLastError("getsockname");
    }
    number = ntohs(address.sin_port);
}

void LoopbackPort::Listen() const
{
    // The system itself completes the connections; nobody ever accepts them.
    if (listen(socketHandle, SOMAXCONN) != 0) {
        throwLastError("listen");
    }
}

} // namespace LumLocalServer
