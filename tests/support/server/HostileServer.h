#pragma once

#include "soak/networking/Dice.h"
#include "soak/networking/FaultPlan.h"
#include "support/server/HostileConnection.h"

#include <cstdint>
#include <map>
#include <memory>
#include <queue>
#include <string>
#include <thread>
#include <vector>

namespace LumTestServer {

/// An HTTP server on loopback that does to each request what the request's plan says, and on some of its ports more to
/// connections. FaultPlan.h says by which paths. What goes wrong in it ends its connections, and is told at the end.
class HostileServer {
public:
    HostileServer();
    ~HostileServer();
    HostileServer(const HostileServer&) = delete;
    HostileServer& operator=(const HostileServer&) = delete;

    const std::vector<std::uint16_t>& Ports() const { return ports; }

private:
    using Clock = HostileConnection::Clock;
    using PortKind = LumTests::PortKind;

    struct Listener {
        Socket socket;
        PortKind kind = PortKind::Steady;
        bool listens = true;
        Clock::time_point changeTime = Clock::time_point::max();
        /// When it goes on accepting, if it has stopped for want of descriptors.
        Clock::time_point resumeTime = Clock::time_point::max();
    };

    struct Timer {
        Clock::time_point time;
        int descriptor;
        bool operator>(const Timer& other) const { return time > other.time; }
    };

    void AddListener();
    void Serve();
    bool ServeOnce();
    bool HandleEvents();
    void Accept(Listener& listener);
    void Admit(Socket accepted, bool isRough);
    LumTests::FaultPlan PlanFor(int descriptor, const std::string& path);
    LumTests::FaultPlan Begin(std::uint64_t seed);
    LumTests::FaultPlan End(int descriptor);
    void Run(int descriptor, Clock::time_point now);
    void RunTimers();
    void RunListeners(Clock::time_point now);
    void Change(Listener& listener, Clock::time_point now);
    void Listen(Listener& listener);
    Clock::time_point NextTime() const;
    int WaitLimit() const;
    void Watch(int operation, int descriptor, std::uint32_t events = 0) const;

    LumTests::Dice dice{0};
    int epoll;
    /// Its end is the server's.
    int control[2] = {-1, -1};
    std::vector<std::uint16_t> ports;
    std::map<int, Listener> listeners;
    std::map<int, std::unique_ptr<HostileConnection>> connections;
    std::priority_queue<Timer, std::vector<Timer>, std::greater<>> timers;
    std::map<std::string, std::uint64_t> faults;
    /// What has gone wrong in the server itself.
    std::string trouble;
    std::thread thread;
};

} // namespace LumTestServer
