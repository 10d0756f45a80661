#pragma once

#include "soak/networking/FaultPlan.h"
#include "support/server/Socket.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace LumTestServer {

/// One connection of the hostile server: it reads a request, does what the request's plan says, and goes on to the next
/// one or ends. Nothing of it blocks.
class HostileConnection {
public:
    using Clock = std::chrono::steady_clock;

    /// What to do with a request of that path.
    using Planner = std::function<LumTests::FaultPlan(const std::string& path)>;

    HostileConnection(Socket accepted, Planner newPlanner) : socket(std::move(accepted)), planner(std::move(newPlanner))
    {
    }

    int Descriptor() const { return socket.Descriptor(); }

    /// Ends the connection, or resets it, at that time, whatever it is at.
    void EndAt(Clock::time_point time, bool withReset);

    /// Does what can be done now. False if the connection has ended.
    bool Run(Clock::time_point now);

    /// When to run it even if nothing arrives; nothing if it waits for its peer.
    std::optional<Clock::time_point> NextTime() const;

    /// Whether it waits until it can send.
    bool IsFull() const { return isFull; }

private:
    enum class Progress { Goes, Waits, Ends };

    bool Receive();
    Progress Step(Clock::time_point now);
    Progress ReadRequest(Clock::time_point now);
    Progress AnswerNoHttp();
    void Begin(const std::string& head, Clock::time_point now);
    Progress SendSome();
    Progress FinishPlan();

    Socket socket;
    const Planner planner;
    std::string input;
    std::uint64_t unreadBody = 0;
    std::optional<LumTests::FaultPlan> plan;
    std::size_t nextStep = 0;
    Clock::time_point stepTime;
    std::string output;
    bool isFull = false;
    bool resets = false;
    std::optional<Clock::time_point> endTime;
};

} // namespace LumTestServer
