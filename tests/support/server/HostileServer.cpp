#include "support/server/HostileServer.h"

#include "support/server/Ports.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace LumTestServer {

namespace {

using LumTests::FaultPlan;
using std::chrono::milliseconds;

constexpr int kBacklog = 4096;
constexpr int kEventsPerWait = 256;

/// Of a listener that comes and goes.
constexpr milliseconds kLongestChange{400};

/// Of a rough listener one connection in so many is reset as soon as it is there, and one in so many ignored for a
/// while.
constexpr std::uint64_t kResetOf = 8;
constexpr std::uint64_t kIgnoredOf = 8;
constexpr std::uint64_t kLongestIgnored = 500;

/// After which descriptors may be there again.
constexpr milliseconds kAcceptPause{50};

void require(bool succeeded, const char* what)
{
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

/// An answer after which the connection ends.
FaultPlan answerOf(const char* status, const std::string& body)
{
    FaultPlan plan;
    plan.steps = {{milliseconds(0), std::string("HTTP/1.1 ") + status + "\r\nConnection: close\r\n\r\n" + body}};
    plan.end = FaultPlan::End::Close;
    return plan;
}

} // namespace

HostileServer::HostileServer() : epoll(epoll_create1(EPOLL_CLOEXEC))
{
    require(epoll >= 0, "epoll_create1");
    require(pipe2(control, O_CLOEXEC) == 0, "pipe2");
    Watch(EPOLL_CTL_ADD, control[0], EPOLLIN);
    for (std::size_t index = 0; index < LumTests::kHostilePorts; ++index) {
        AddListener();
    }
    thread = std::thread([this] { Serve(); });
}

HostileServer::~HostileServer()
{
    close(control[1]);
    thread.join();
    close(control[0]);
    close(epoll);
}

void HostileServer::AddListener()
{
    Socket socket = bindIpv4(0);
    require(fcntl(socket.Descriptor(), F_SETFL, O_NONBLOCK) == 0, "fcntl");
    require(listen(socket.Descriptor(), kBacklog) == 0, "listen");
    const int descriptor = socket.Descriptor();
    ports.push_back(boundPort(socket));
    const PortKind kind = LumTests::kindOfPort(listeners.size());
    Listener& listener = listeners[descriptor];
    listener.socket = std::move(socket);
    listener.kind = kind;
    Watch(EPOLL_CTL_ADD, descriptor, EPOLLIN);
}

void HostileServer::Serve()
{
    while (ServeOnce()) {
    }
}

/// False if the server is to end. Of what goes wrong here the other servers of this process see nothing.
bool HostileServer::ServeOnce()
{
    try {
        if (!HandleEvents()) {
            return false;
        }
        RunTimers();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "lum_test_server, the hostile server: %s\n", failure.what());
        trouble = failure.what();
        // One of them may bring it about again and again.
        connections.clear();
    }
    return true;
}

/// False if the server is to end.
bool HostileServer::HandleEvents()
{
    epoll_event events[kEventsPerWait];
    const int count = epoll_wait(epoll, events, kEventsPerWait, WaitLimit());
    const Clock::time_point now = Clock::now();
    for (int index = 0; index < count; ++index) {
        const int descriptor = events[index].data.fd;
        const auto listener = listeners.find(descriptor);
        if (descriptor == control[0]) {
            return false;
        } else if (listener != listeners.end()) {
            Accept(listener->second);
        } else {
            Run(descriptor, now);
        }
    }
    return true;
}

void HostileServer::Accept(Listener& listener)
{
    const int descriptor = listener.socket.Descriptor();
    while (true) {
        Socket accepted(accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!accepted.IsOpen() && (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)) {
            // Whoever waits would be told of at once again.
            ++faults["accepting paused"];
            listener.resumeTime = Clock::now() + kAcceptPause;
            Watch(EPOLL_CTL_MOD, descriptor);
        }
        if (!accepted.IsOpen()) {
            return;
        }
        const int yes = 1;
        setsockopt(accepted.Descriptor(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
        Admit(std::move(accepted), listener.kind == PortKind::Rough);
    }
}

void HostileServer::Admit(Socket accepted, bool isRough)
{
    const int descriptor = accepted.Descriptor();
    auto connection = std::make_unique<HostileConnection>(
        std::move(accepted), [this, descriptor](const std::string& path) { return PlanFor(descriptor, path); });
    const Clock::time_point now = Clock::now();
    if (isRough && dice.OneIn(kResetOf)) {
        ++faults["connection reset at once"];
        connection->EndAt(now, true);
    } else if (isRough && dice.OneIn(kIgnoredOf)) {
        ++faults["connection ignored"];
        connection->EndAt(now + milliseconds(dice.Below(kLongestIgnored)), dice.OneIn(2));
    }
    if (!connection->NextTime()) {
        Watch(EPOLL_CTL_ADD, descriptor, EPOLLIN);
    }
    connections[descriptor] = std::move(connection);
    Run(descriptor, now);
}

FaultPlan HostileServer::PlanFor(int descriptor, const std::string& path)
{
    if (path == LumTests::kEndPath) {
        return End(descriptor);
    }
    if (const auto seed = LumTests::seedOfBeginning(path)) {
        return Begin(*seed);
    }
    FaultPlan plan = LumTests::makePlanOfPath(path);
    ++faults[LumTests::faultNames()[plan.kind]];
    return plan;
}

FaultPlan HostileServer::Begin(std::uint64_t seed)
{
    dice = LumTests::Dice(seed);
    faults.clear();
    trouble.clear();
    for (auto& [descriptor, listener] : listeners) {
        if (listener.kind == PortKind::Changing) {
            listener.changeTime = Clock::now();
        }
    }
    return answerOf("200 OK", "");
}

/// Ends all connections but the one by which it was asked for.
FaultPlan HostileServer::End(int descriptor)
{
    std::string body;
    for (const auto& [name, count] : faults) {
        body += std::to_string(count) + ' ' + name + '\n';
    }
    faults.clear();
    for (auto next = connections.begin(); next != connections.end();) {
        next = next->first == descriptor ? std::next(next) : connections.erase(next);
    }
    for (auto& [listening, listener] : listeners) {
        listener.changeTime = Clock::time_point::max();
        if (!listener.listens) {
            Listen(listener);
        }
    }
    return trouble.empty() ? answerOf("200 OK", body) : answerOf("500 Trouble", trouble);
}

void HostileServer::Run(int descriptor, Clock::time_point now)
{
    const auto found = connections.find(descriptor);
    if (found == connections.end()) {
        return;
    }
    HostileConnection& connection = *found->second;
    const bool wasFull = connection.IsFull();
    const bool goesOn = connection.Run(now);
    if (!goesOn) {
        connections.erase(found);
        return;
    }
    if (connection.IsFull() != wasFull) {
        Watch(EPOLL_CTL_MOD, descriptor, connection.IsFull() ? EPOLLIN | EPOLLOUT : EPOLLIN);
    }
    if (const auto time = connection.NextTime()) {
        timers.push({*time, descriptor});
    }
}

/// A timer may be of a connection that has ended: whoever has its number now only looks whether there is something to
/// do.
void HostileServer::RunTimers()
{
    const Clock::time_point now = Clock::now();
    while (!timers.empty() && timers.top().time <= now) {
        const int descriptor = timers.top().descriptor;
        timers.pop();
        Run(descriptor, now);
    }
    RunListeners(now);
}

void HostileServer::RunListeners(Clock::time_point now)
{
    for (auto& [descriptor, listener] : listeners) {
        if (listener.resumeTime <= now) {
            listener.resumeTime = Clock::time_point::max();
            Watch(EPOLL_CTL_MOD, descriptor, EPOLLIN);
        }
        if (listener.changeTime <= now) {
            Change(listener, now);
        }
    }
}

/// Between its times a listener keeps its port, and connections are refused.
void HostileServer::Change(Listener& listener, Clock::time_point now)
{
    listener.changeTime = now + milliseconds(dice.Below(static_cast<std::uint64_t>(kLongestChange.count())));
    if (!listener.listens) {
        Listen(listener);
        return;
    }
    ++faults["listener closed"];
    listener.listens = false;
    listener.resumeTime = Clock::time_point::max();
    Watch(EPOLL_CTL_DEL, listener.socket.Descriptor());
    shutdown(listener.socket.Descriptor(), SHUT_RD);
}

/// Of a listener that was closed.
void HostileServer::Listen(Listener& listener)
{
    require(listen(listener.socket.Descriptor(), kBacklog) == 0, "listen again");
    Watch(EPOLL_CTL_ADD, listener.socket.Descriptor(), EPOLLIN);
    listener.listens = true;
}

/// When there is something to do, whatever comes.
HostileServer::Clock::time_point HostileServer::NextTime() const
{
    Clock::time_point next = timers.empty() ? Clock::time_point::max() : timers.top().time;
    for (const auto& [descriptor, listener] : listeners) {
        next = std::min({next, listener.changeTime, listener.resumeTime});
    }
    return next;
}

int HostileServer::WaitLimit() const
{
    constexpr milliseconds kLongestWait{60000};
    const Clock::time_point next = NextTime();
    if (next == Clock::time_point::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<milliseconds>(next - Clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), kLongestWait).count());
}

void HostileServer::Watch(int operation, int descriptor, std::uint32_t events) const
{
    epoll_event event = {};
    event.events = events;
    event.data.fd = descriptor;
    require(epoll_ctl(epoll, operation, descriptor, &event) == 0, "epoll_ctl");
}

} // namespace LumTestServer
