#pragma once

#include "allocation/EachAllocation.h"
#include "common/networking/ILumAsynchronousHttpClient.h"
#include "support/RequestRecorder.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace LumTests {

/// The client of one request, and whatever it works on.
class ClientSite {
public:
    virtual ~ClientSite() = default;

    virtual LumNetworking::ILumAsynchronousHttpClient& Client() = 0;

    /// The client goes; its requests go on.
    virtual void DropClient() = 0;

    /// Whether nothing is open any more of the requests that were made.
    virtual bool IsClosed() const = 0;

    /// A failure for lack of memory is described so.
    virtual void ExpectOutOfMemory(const LumUtils::ILumError& error) const = 0;

    /// Whether the failure is that of a request that has all the memory it needs.
    virtual bool IsUsualFailure(const LumUtils::ILumError& error) const = 0;
};

/// A request, and what becomes of it when nothing is missing: a response, with the size of its body, a failure or a
/// cancellation.
struct Scenario {
    using Transaction = std::shared_ptr<LumNetworking::ILumAsynchronousTransaction>;
    using Start = std::function<Transaction(LumNetworking::ILumAsynchronousHttpClient& client,
                                            const LumNetworking::HttpCompletion& completion)>;

    std::string name;
    std::function<std::unique_ptr<ClientSite>()> makeSite;
    Start start;
    LumNetworking::HttpRequestResult result = LumNetworking::HttpRequestResult::SUCCESS;
    std::size_t bodySize = 0;
    int status = 200;
    /// Where on this machine the proxy is that the process has to have; 0 for none.
    std::uint16_t proxyPort = 0;
};

/// What became of the runs of a scenario.
struct Tally {
    std::size_t refused = 0;
    std::size_t failed = 0;
    std::size_t succeeded = 0;
    std::size_t cancelled = 0;
};

/// Runs the scenario once and expects one completion or a refusal, and that every handle is closed afterwards. Returns
/// whether an allocation has failed.
bool runFailing(const Scenario& scenario, std::size_t number, FailingAllocations::Reach reach, Tally& tally);

/// Runs it with each of its allocations missing in turn, and says what became of that.
void runWithoutEachAllocation(const Scenario& scenario, FailingAllocations::Reach reach);

} // namespace LumTests
