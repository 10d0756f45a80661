#include "support/server/Socket.h"

#include <cerrno>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

namespace LumTestServer {

Socket::Socket(Socket&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}

Socket& Socket::operator=(Socket&& other) noexcept
{
    std::swap(descriptor, other.descriptor);
    return *this;
}

Socket::~Socket()
{
    Close();
}

bool Socket::Send(std::string_view bytes) const
{
    while (!bytes.empty()) {
        const ssize_t sent = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

std::size_t Socket::Receive(char* buffer, std::size_t size) const
{
    ssize_t received = -1;
    do {
        received = recv(descriptor, buffer, size, 0);
    } while (received < 0 && errno == EINTR);
    return received > 0 ? static_cast<std::size_t>(received) : 0;
}

void Socket::Shutdown() const
{
    shutdown(descriptor, SHUT_RDWR);
}

void Socket::Close()
{
    if (IsOpen()) {
        close(std::exchange(descriptor, -1));
    }
}

void Socket::Reset()
{
    const linger abortive = {1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &abortive, sizeof(abortive));
    Close();
}

} // namespace LumTestServer
