#pragma once

#include "LoadClient.h"

#include <atomic>
#include <cstdint>

namespace LumBench {

/// Counts the requests of one load and says when it is over. From several threads at once.
class LoadTally {
public:
    explicit LoadTally(const Load& load)
        : bodySize(load.bodySize), deadline(std::chrono::steady_clock::now() + load.duration)
    {
    }

    bool IsOver() const { return std::chrono::steady_clock::now() >= deadline; }

    /// A request has ended with this status and body.
    void Count(long status, std::size_t receivedSize);
    void CountFailure();

    std::uint64_t Requests() const { return requests.load(); }
    std::uint64_t Failures() const { return failures.load(); }

private:
    const std::size_t bodySize;
    const std::chrono::steady_clock::time_point deadline;
    std::atomic<std::uint64_t> requests{0};
    std::atomic<std::uint64_t> failures{0};
};

} // namespace LumBench
