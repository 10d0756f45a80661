#include "support/server/HostileConnection.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <string.h>
#include <sys/socket.h>

namespace LumTestServer {

using LumTests::FaultPlan;

namespace {

constexpr std::size_t kReadSize = std::size_t{64} << 10U;

/// What a TLS client says first begins with this.
constexpr char kTlsHandshake = 0x16;

constexpr std::size_t kLongestHead = std::size_t{256} << 10U;

std::uint64_t contentLengthOf(const std::string& head)
{
    constexpr const char* kField = "\r\nContent-Length:";
    const char* const found = strcasestr(head.c_str(), kField);
    return found == nullptr ? 0 : std::strtoull(found + 17, nullptr, 10);
}

/// "GET PATH HTTP/1.1"
std::string pathOf(const std::string& head)
{
    const std::size_t path = std::min(head.find('/'), head.size());
    return head.substr(path, head.find(' ', path) - path);
}

} // namespace

void HostileConnection::EndAt(Clock::time_point time, bool withReset)
{
    endTime = time;
    resets = withReset;
}

bool HostileConnection::Run(Clock::time_point now)
{
    Progress progress = Progress::Ends;
    if (endTime) {
        // It takes no notice of its peer.
        progress = now < *endTime ? Progress::Waits : Progress::Ends;
    } else if (Receive()) {
        do {
            progress = Step(now);
        } while (progress == Progress::Goes);
    }
    if (progress == Progress::Ends && resets) {
        socket.Reset();
    }
    return progress != Progress::Ends;
}

std::optional<HostileConnection::Clock::time_point> HostileConnection::NextTime() const
{
    if (endTime) {
        return endTime;
    }
    const bool hasTimedStep = plan && output.empty() && (plan->isEarly || unreadBody == 0);
    return hasTimedStep ? std::optional<Clock::time_point>(stepTime) : std::nullopt;
}

/// Takes in what has come. False if the peer has gone.
bool HostileConnection::Receive()
{
    char buffer[kReadSize];
    ssize_t count = 0;
    do {
        count = recv(socket.Descriptor(), buffer, sizeof(buffer), MSG_DONTWAIT);
        if (count <= 0) {
            continue;
        }
        const auto size = static_cast<std::size_t>(count);
        const auto ofBody = static_cast<std::size_t>(std::min<std::uint64_t>(unreadBody, size));
        unreadBody -= ofBody;
        input.append(buffer + ofBody, size - ofBody);
    } while (count > 0 || (count < 0 && errno == EINTR));
    return count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

HostileConnection::Progress HostileConnection::Step(Clock::time_point now)
{
    if (!plan) {
        return ReadRequest(now);
    }
    if (!output.empty()) {
        return SendSome();
    }
    if (!plan->isEarly && unreadBody > 0) {
        return Progress::Waits;
    }
    if (nextStep == plan->steps.size()) {
        return FinishPlan();
    }
    if (now < stepTime) {
        return Progress::Waits;
    }
    output = plan->steps[nextStep].bytes;
    ++nextStep;
    if (nextStep < plan->steps.size()) {
        stepTime = now + plan->steps[nextStep].pause;
    }
    return Progress::Goes;
}

HostileConnection::Progress HostileConnection::ReadRequest(Clock::time_point now)
{
    if (!input.empty() && input.front() == kTlsHandshake) {
        return AnswerNoHttp();
    }
    const std::size_t end = input.find("\r\n\r\n");
    if (end == std::string::npos) {
        return input.size() > kLongestHead ? Progress::Ends : Progress::Waits;
    }
    const std::string head = input.substr(0, end + 4);
    input.erase(0, head.size());
    unreadBody = contentLengthOf(head);
    const std::uint64_t here = std::min<std::uint64_t>(unreadBody, input.size());
    input.erase(0, static_cast<std::size_t>(here));
    unreadBody -= here;
    Begin(head, now);
    return Progress::Goes;
}

/// Whoever expects TLS gets something else.
HostileConnection::Progress HostileConnection::AnswerNoHttp()
{
    socket.Send("HTTP/1.1 400 No\r\n\r\n");
    return Progress::Ends;
}

void HostileConnection::Begin(const std::string& head, Clock::time_point now)
{
    plan = planner(pathOf(head));
    nextStep = 0;
    stepTime = now + plan->steps.front().pause;
}

HostileConnection::Progress HostileConnection::SendSome()
{
    const ssize_t sent = send(socket.Descriptor(), output.data(), output.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    isFull = sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    if (sent < 0) {
        return isFull ? Progress::Waits : Progress::Ends;
    }
    output.erase(0, static_cast<std::size_t>(sent));
    return Progress::Goes;
}

HostileConnection::Progress HostileConnection::FinishPlan()
{
    const FaultPlan::End end = plan->end;
    plan.reset();
    resets = end == FaultPlan::End::Reset;
    return end == FaultPlan::End::KeepAlive ? Progress::Goes : Progress::Ends;
}

} // namespace LumTestServer
