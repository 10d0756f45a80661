#pragma once

#include "soak/networking/Dice.h"
#include "soak/networking/HostileConnection.h"

#include <cstdint>
#include <map>
#include <memory>
#include <queue>
#include <string>
#include <vector>

namespace LumTests {

/// An HTTP server on loopback that does to each request what the request's plan says, and on some of its ports more to
/// connections.
///
/// It runs on the thread that calls Serve.
class HostileServer {
public:
    enum class PortKind {
        /// Every connection is accepted and lives until a plan ends it.
        Steady,
        /// Some connections are accepted only to be reset or ignored.
        Rough,
        /// Now and then nobody listens for a while.
        Changing,
    };

    /// Of the port with that place in Ports.
    static PortKind KindOf(std::size_t index);

    explicit HostileServer(std::uint64_t runSeed);
    ~HostileServer();
    HostileServer(const HostileServer&) = delete;
    HostileServer& operator=(const HostileServer&) = delete;

    const std::vector<std::uint16_t>& Ports() const { return ports; }

    /// Serves until the descriptor, such as that of standard input, has ended; then all connections end.
    void Serve(int descriptor);

    /// How often each fault was done, by its name.
    const std::map<std::string, std::uint64_t>& Faults() const { return faults; }

private:
    using Clock = HostileConnection::Clock;

    struct Listener {
        LumTestServer::Socket socket;
        PortKind kind = PortKind::Steady;
        bool listens = true;
        Clock::time_point changeTime;
    };

    struct Timer {
        Clock::time_point time;
        int descriptor;
        bool operator>(const Timer& other) const { return time > other.time; }
    };

    void AddListener();
    bool HandleEvents();
    void Accept(const Listener& listener);
    void Admit(LumTestServer::Socket accepted, bool isRough);
    void Run(int descriptor, Clock::time_point now);
    void RunTimers();
    void ChangeListeners(Clock::time_point now);
    int WaitLimit() const;
    void Watch(int operation, int descriptor, std::uint32_t events = 0) const;

    const std::uint64_t seed;
    Dice dice;
    int epoll;
    int control = -1;
    std::vector<std::uint16_t> ports;
    std::map<int, Listener> listeners;
    std::map<int, std::unique_ptr<HostileConnection>> connections;
    std::priority_queue<Timer, std::vector<Timer>, std::greater<>> timers;
    std::map<std::string, std::uint64_t> faults;
};

} // namespace LumTests
