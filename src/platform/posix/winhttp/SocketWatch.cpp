#include "platform/posix/winhttp/SocketWatch.h"

#include <algorithm>
#include <new>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumPlatform {

namespace {

/// A connection that nobody has used for so long is closed.
constexpr std::chrono::seconds kLongestKept{30};

std::uint32_t epollEvents(int what)
{
    switch (what) {
    case CURL_POLL_IN:
        return EPOLLIN;
    case CURL_POLL_OUT:
        return EPOLLOUT;
    case CURL_POLL_INOUT:
        return EPOLLIN | EPOLLOUT;
    default:
        return 0;
    }
}

int curlEvents(std::uint32_t events)
{
    int mask = 0;
    if ((events & (EPOLLIN | EPOLLHUP)) != 0) {
        mask |= CURL_CSELECT_IN;
    }
    if ((events & EPOLLOUT) != 0) {
        mask |= CURL_CSELECT_OUT;
    }
    if ((events & EPOLLERR) != 0) {
        mask |= CURL_CSELECT_ERR;
    }
    return mask;
}

/// Also true at the end of the stream and after an error.
bool isReadable(curl_socket_t socket)
{
    char byte = 0;
    return recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
}

bool hasUnreadBytes(curl_socket_t socket)
{
    char byte = 0;
    return recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

/// Drops the connection with all that it has received: curl takes a connection for alive while it has something to
/// read.
void disconnect(curl_socket_t socket)
{
    sockaddr none = {};
    none.sa_family = AF_UNSPEC;
    connect(socket, &none, sizeof(none));
}

/// The port of one end of a connection, which `nameOf` tells; 0 if it is not known.
int portOf(curl_socket_t socket, int (*nameOf)(int, sockaddr*, socklen_t*))
{
    sockaddr_storage address = {};
    socklen_t size = sizeof(address);
    if (nameOf(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return 0;
    }
    const bool isIpv6 = address.ss_family == AF_INET6;
    return ntohs(isIpv6 ? reinterpret_cast<const sockaddr_in6&>(address).sin6_port
                        : reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

} // namespace

SocketWatch::SocketWatch() : epoll(epoll_create1(EPOLL_CLOEXEC)), wakeEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = wakeEvent.Get();
    epoll_ctl(epoll.Get(), EPOLL_CTL_ADD, wakeEvent.Get(), &event);
}

void SocketWatch::Wake()
{
    eventfd_write(wakeEvent.Get(), 1);
}

std::size_t SocketWatch::Wait(int milliseconds, ReadySockets& ready)
{
    std::array<epoll_event, kReadyPerWait> events;
    const int count = epoll_wait(epoll.Get(), events.data(), kReadyPerWait, milliseconds);
    std::size_t readyCount = 0;
    for (int index = 0; index < count; ++index) {
        const epoll_event& event = events[static_cast<std::size_t>(index)];
        if (event.data.fd == wakeEvent.Get()) {
            eventfd_t ignored = 0;
            eventfd_read(wakeEvent.Get(), &ignored);
        } else if (OnReady(event.data.fd)) {
            ready[readyCount++] = {event.data.fd, curlEvents(event.events)};
        }
    }
    return readyCount;
}

/// Whether curl is to look at the socket.
bool SocketWatch::OnReady(curl_socket_t socket)
{
    Registration* const registration = Find(socket);
    if (registration == nullptr || registration->wanted != 0) {
        return true;
    }
    if (registration->use == Use::Kept) {
        Retire(*registration, socket);
    } else {
        // The reader has paused its transfer.
        Unregister(*registration, socket);
    }
    return false;
}

/// Null for a socket that has none.
SocketWatch::Registration* SocketWatch::Find(curl_socket_t socket)
{
    const auto index = static_cast<std::size_t>(socket);
    return index < registrations.size() ? &registrations[index] : nullptr;
}

SocketWatch::Registration& SocketWatch::Make(curl_socket_t socket)
{
    const auto index = static_cast<std::size_t>(socket);
    if (registrations.size() <= index) {
        registrations.resize(index + 1);
    }
    return registrations[index];
}

curl_socket_t SocketWatch::Open(const curl_sockaddr& address)
{
    const int opened = socket(address.family, address.socktype | SOCK_CLOEXEC, address.protocol);
    if (opened < 0) {
        return CURL_SOCKET_BAD;
    }
    try {
        Registration& registration = Make(opened);
        registration = Registration();
        registration.use = Use::Active;
    } catch (const std::bad_alloc&) {
        close(opened);
        throw;
    }
    return opened;
}

int SocketWatch::Close(curl_socket_t socket)
{
    if (Registration* const registration = Find(socket)) {
        // A copy of the process may hold the connection open, and epoll would go on to report it.
        Unregister(*registration, socket);
        retiredCount -= registration->use == Use::Retired ? 1 : 0;
        *registration = Registration();
    }
    return close(socket);
}

/// A connection that is not wanted any more stays registered: it is most likely wanted again by the next request. Any
/// other socket may be closed next, and its number be given to a connection.
void SocketWatch::Want(curl_socket_t socket, int what)
{
    Registration& registration = Make(socket);
    registration.wanted = epollEvents(what);
    if (registration.wanted != 0) {
        registration.use = registration.use == Use::Kept ? Use::Active : registration.use;
        Register(registration, socket, registration.wanted);
    } else if (registration.use == Use::Foreign) {
        Unregister(registration, socket);
    }
}

void SocketWatch::Register(Registration& registration, curl_socket_t socket, std::uint32_t events)
{
    if (events == registration.registered) {
        return;
    }
    epoll_event event = {};
    event.events = events;
    event.data.fd = socket;
    epoll_ctl(epoll.Get(), registration.registered == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, socket, &event);
    registration.registered = events;
}

void SocketWatch::Unregister(Registration& registration, curl_socket_t socket)
{
    if (registration.registered != 0) {
        epoll_ctl(epoll.Get(), EPOLL_CTL_DEL, socket, nullptr);
        registration.registered = 0;
    }
}

void SocketWatch::Keep(curl_socket_t socket, Time now)
{
    Registration* const registration = Find(socket);
    if (registration == nullptr || registration->use != Use::Active || registration->wanted != 0) {
        return;
    }
    registration->use = Use::Kept;
    registration->keptSince = now;
    if (registration->ports.local == 0) {
        registration->ports = {portOf(socket, getsockname), portOf(socket, getpeername)};
    }
    Register(*registration, socket, EPOLLIN);
    nextRetirement = std::min(nextRetirement, now + kLongestKept);
}

bool SocketWatch::Take(Ports ports, curl_socket_t& socket)
{
    for (std::size_t index = 0; index < registrations.size(); ++index) {
        Registration& registration = registrations[index];
        const bool isIt = registration.ports.local == ports.local && registration.ports.remote == ports.remote;
        if (!isIt || (registration.use != Use::Kept && registration.use != Use::Retired)) {
            continue;
        }
        socket = static_cast<curl_socket_t>(index);
        if (registration.use == Use::Kept && isReadable(socket)) {
            Retire(registration, socket);
        }
        if (registration.use == Use::Retired) {
            return false;
        }
        registration.use = Use::Active;
    }
    return true;
}

void SocketWatch::RetireOld(Time now)
{
    nextRetirement = Time::max();
    for (std::size_t index = 0; index < registrations.size(); ++index) {
        Registration& registration = registrations[index];
        if (registration.use != Use::Kept) {
            continue;
        }
        const Time end = registration.keptSince + kLongestKept;
        if (end <= now) {
            Retire(registration, static_cast<curl_socket_t>(index));
        } else {
            nextRetirement = std::min(nextRetirement, end);
        }
    }
}

void SocketWatch::Retire(Registration& registration, curl_socket_t socket)
{
    Unregister(registration, socket);
    registration.use = Use::Retired;
    ++retiredCount;
    if (hasUnreadBytes(socket)) {
        disconnect(socket);
    } else {
        shutdown(socket, SHUT_RDWR);
    }
}

} // namespace LumPlatform
