#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace LumTests {

/// What this process uses at a time.
struct ProcessSample {
    double seconds = 0;
    std::size_t residentBytes = 0;
    std::size_t heapBytes = 0;
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    /// Open WinHTTP handles of every kind.
    std::size_t winHttpHandles = 0;
    std::vector<std::uint64_t> inFlight;
};

/// Without the time and the requests in flight. Memory that the allocator could give back is given back first if asked
/// for. A build with a sanitizer has an allocator of its own, of which the heap is 0.
ProcessSample takeSample(bool trimsHeap);

/// Takes samples until it is destroyed.
class ProcessWatch {
public:
    ProcessWatch(std::chrono::milliseconds samplingInterval, std::function<std::vector<std::uint64_t>()> inFlightNow);
    ~ProcessWatch();
    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;

    /// Stops, and hands the samples over.
    std::vector<ProcessSample> Take();

private:
    void Run();

    const std::chrono::milliseconds interval;
    const std::function<std::vector<std::uint64_t>()> countInFlight;
    std::vector<ProcessSample> samples;
    std::atomic<bool> isOver{false};
    std::thread thread;
};

} // namespace LumTests
