#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace LumBench {

class LoadTally;

/// What a client is to fetch: one URL again and again, always so many requests in flight, until the time is over. The
/// requests that are in flight then are finished.
struct Load {
    std::string baseUrl;
    std::string path;
    std::size_t bodySize = 0;
    std::size_t concurrency = 1;
    std::chrono::steady_clock::duration duration{};
};

/// One way of fetching. It keeps its connections from one load to the next.
class LoadClient {
public:
    virtual ~LoadClient() = default;

    /// Returns when the last request has ended; every request is counted in the tally.
    virtual void Run(const Load& load, LoadTally& tally) = 0;
};

/// The client on the library "cpprestsdk"; empty if this build is without it.
std::unique_ptr<LoadClient> MakeCpprestClient();

} // namespace LumBench
