#pragma once

#include <algorithm>
#include <chrono>

namespace LumPlatform {

/// A point in time at which something is to be done, or none.
class Alarm {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// Rings at that time, or earlier if it was set so before.
    void SetBy(Time time) { at = std::min(at, time); }

    void Set(Time time) { at = time; }
    void Clear() { at = Time::max(); }
    bool IsSet() const { return at != Time::max(); }
    Time At() const { return at; }

    /// Whether it rings; then it is not set any more.
    bool Rings(Time now)
    {
        const bool isDue = at <= now;
        at = isDue ? Time::max() : at;
        return isDue;
    }

private:
    Time at = Time::max();
};

} // namespace LumPlatform
