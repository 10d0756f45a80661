#pragma once

#include "Windows/networking/WinHttpClientAsync.h"
#include "posix/allocation/FailingAllocations.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace LumTests {

/// A request to the test servers, and what its body is when nothing fails.
struct Scenario {
    using Transaction = std::shared_ptr<LumNetworking::ILumAsynchronousTransaction>;

    const char* name;
    std::function<Transaction(LumNetworking::ILumAsynchronousHttpClient& client,
                              const LumNetworking::HttpCompletion& completion)>
        start;
    std::size_t bodySize;
};

std::vector<Scenario> scenarios();

/// What became of the runs of a scenario.
struct Tally {
    std::size_t refused = 0;
    std::size_t failed = 0;
    std::size_t succeeded = 0;
    std::size_t cancelled = 0;
};

/// More than any request needs.
constexpr std::size_t kMostAllocations = 5000;

/// Runs the scenario once and expects one completion or a refusal, and that every handle is closed afterwards. Returns
/// whether an allocation has failed.
bool runFailing(const Scenario& scenario, std::size_t number, FailingAllocations::Reach reach, Tally& tally);

/// In a process that has made no request: one that lacks that allocation, and one more that lacks none, which succeeds.
/// Returns the exit code of the process: 0, 1 if something was not as expected, or kNoneFailed if the first request
/// makes fewer allocations.
int runFirstRequest(std::size_t number);
constexpr int kNoneFailed = 77;

/// What makes the test program do that instead of its tests, before the number.
constexpr const char* kFirstRequest = "first-request";

} // namespace LumTests
