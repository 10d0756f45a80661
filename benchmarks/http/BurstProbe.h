#pragma once

#include <cstddef>
#include <string>

namespace LumBench {

/// Requests that one thread starts at once, in a process of its own: requests that are given up must not disturb what
/// is measured next.
struct BurstMeasurement {
    double seconds = 0;

    /// The requests that succeeded in that time. Fewer than were started if some failed, or if the rest was given up.
    std::size_t succeeded = 0;

    double MicrosecondsPerRequest() const;
};

namespace BurstProbe {

constexpr const char* kOption = "--probe-burst";

/// Starts `count` requests at once, waits until all have ended, and does that `repetitions` times; in a new process.
/// What has not ended after two minutes is given up. Throws std::runtime_error if the process gives no numbers.
BurstMeasurement Measure(const std::string& url, std::size_t count, std::size_t repetitions);

/// The new process's main; `arguments` are those of the program.
int Main(int count, const char* const* arguments);

} // namespace BurstProbe

} // namespace LumBench
