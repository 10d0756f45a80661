#include "soak/networking/ProcessWatch.h"

#include "support/HttpHandles.h"
#include "support/ProcessResources.h"

namespace LumTests {

ProcessSample takeSample(bool trimsHeap)
{
    if (trimsHeap) {
        giveFreeMemoryBack();
    }
    ProcessSample sample;
    sample.residentBytes = usedMemory();
    sample.heapBytes = heapInUse();
    sample.descriptors = openDescriptorCount();
    sample.threads = threadCount();
    sample.winHttpHandles = openHttpHandles();
    return sample;
}

ProcessWatch::ProcessWatch(std::chrono::milliseconds samplingInterval,
                           std::function<std::vector<std::uint64_t>()> inFlightNow)
    : interval(samplingInterval), countInFlight(std::move(inFlightNow)), thread([this] { Run(); })
{
}

ProcessWatch::~ProcessWatch()
{
    if (thread.joinable()) {
        Take();
    }
}

std::vector<ProcessSample> ProcessWatch::Take()
{
    isOver = true;
    thread.join();
    return std::move(samples);
}

void ProcessWatch::Run()
{
    const auto start = std::chrono::steady_clock::now();
    while (!isOver) {
        samples.push_back(takeSample(false));
        samples.back().seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        samples.back().inFlight = countInFlight();
        std::this_thread::sleep_for(interval);
    }
}

} // namespace LumTests
