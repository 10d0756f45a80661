#pragma once

#include "platform/posix/Descriptor.h"

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <vector>

namespace LumPlatform {

/// The sockets of all transfers and of the connections that are kept between them, on one epoll descriptor. One thread
/// at a time calls it, but for Wake, which any thread may call.
///
/// A kept connection on which anything can be read, be it data, the end or an alert, would hand that to the next
/// request as its answer. Such a connection is retired as soon as that is seen, as are those that were kept for 30 s:
/// it is shut down, so that curl takes it for dead and closes it when it looks through its connections.
class SocketWatch {
public:
    using Time = std::chrono::steady_clock::time_point;

    struct Ready {
        curl_socket_t socket;
        /// What is ready, as curl has it.
        int events;
    };
    static constexpr std::size_t kReadyPerWait = 64;
    using ReadySockets = std::array<Ready, kReadyPerWait>;

    SocketWatch();

    /// Ends the wait.
    void Wake();

    /// Waits so many milliseconds, or without a bound for -1, and returns the number of sockets with something to do.
    std::size_t Wait(int milliseconds, ReadySockets& ready);

    /// Opens a socket for a connection, or returns CURL_SOCKET_BAD. Throws std::bad_alloc.
    curl_socket_t Open(const curl_sockaddr& address);

    /// Closes a socket that was opened here.
    int Close(curl_socket_t socket);

    /// Curl wants these events of the socket from here on, which are CURL_POLL_ values. Throws std::bad_alloc, but not
    /// for a socket that was opened here.
    void Want(curl_socket_t socket, int what);

    /// The transfer that used the connection has ended; if it is still open, it is kept for another.
    void Keep(curl_socket_t socket, Time now);

    /// The ports of a connection, by which curl names it before it uses it.
    struct Ports {
        int local = 0;
        int remote = 0;
    };

    /// Takes the kept connection with these ports for a transfer and sets its socket; a new connection leaves the
    /// socket as it is. False if something can be read on the connection, so that it must not be used.
    bool Take(Ports ports, curl_socket_t& socket);

    /// Retires the connections that were kept for too long.
    void RetireOld(Time now);

    /// When RetireOld has something to do; Time::max() for never.
    Time NextRetirement() const { return nextRetirement; }

    /// How many connections wait for curl to close them.
    std::size_t RetiredCount() const { return retiredCount; }

private:
    enum class Use {
        /// Not opened here: curl's own for a look-up, or none at all.
        Foreign,
        /// A connection of a transfer.
        Active,
        Kept,
        Retired,
    };

    /// One socket: the events that curl wants now, and those that epoll was told last.
    struct Registration {
        Use use = Use::Foreign;
        std::uint32_t wanted = 0;
        std::uint32_t registered = 0;
        Ports ports;
        Time keptSince;
    };

    Registration* Find(curl_socket_t socket);
    Registration& Make(curl_socket_t socket);
    void Register(Registration& registration, curl_socket_t socket, std::uint32_t events);
    void Unregister(Registration& registration, curl_socket_t socket);
    bool OnReady(curl_socket_t socket);
    void Retire(Registration& registration, curl_socket_t socket);

    const Descriptor epoll;
    const Descriptor wakeEvent;
    /// By socket.
    std::vector<Registration> registrations;
    Time nextRetirement = Time::max();
    std::size_t retiredCount = 0;
};

} // namespace LumPlatform
