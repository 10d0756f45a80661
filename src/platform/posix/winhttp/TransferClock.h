#pragma once

#include <chrono>

namespace LumPlatform {

/// How long a server may keep a transfer waiting, with the defaults of the reference platform: 30 s without a byte sent
/// or received, and 90 s from the end of the request to the end of the response's head.
///
/// The time to connect is bounded elsewhere. A transfer that waits for its reader waits without a bound.
class TransferClock {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::seconds kLongestSilence{30};
    static constexpr std::chrono::seconds kLongestHead{90};

    /// Nothing is awaited from the server: before the request goes out, and while the reader pauses the transfer.
    void Stop() { awaited = Awaited::Nothing; }

    /// The request begins to go out.
    void StartExchange(Time now) { Start(Awaited::Head, now); }

    /// The head is there, or the reader goes on.
    void StartBody(Time now) { Start(Awaited::Body, now); }

    void OnSent(Time now) { sent = received = now; }
    void OnReceived(Time now) { received = now; }

    /// When the transfer has waited for too long; Time::max() if nothing is awaited.
    Time Due() const
    {
        switch (awaited) {
        case Awaited::Head:
            return received + kLongestSilence < sent + kLongestHead ? received + kLongestSilence : sent + kLongestHead;
        case Awaited::Body:
            return received + kLongestSilence;
        default:
            return Time::max();
        }
    }

private:
    enum class Awaited { Nothing, Head, Body };

    void Start(Awaited what, Time now)
    {
        awaited = what;
        sent = received = now;
    }

    Awaited awaited = Awaited::Nothing;
    /// When the last byte went out, and when the last byte went out or came in.
    Time sent;
    Time received;
};

} // namespace LumPlatform
