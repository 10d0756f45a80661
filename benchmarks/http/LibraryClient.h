#pragma once

#include "CountingLogger.h"
#include "LoadClient.h"

#include "Windows/networking/WinHttpClientAsync.h"

namespace LumBench {

/// How the requests after the first ones are started.
enum class Submission {
    /// Each completion starts the next.
    Chained,
    /// A thread that does nothing else starts them, as many as may be in flight.
    Separate,
};

/// The project's own client.
class LibraryClient : public LoadClient {
public:
    explicit LibraryClient(Submission newSubmission);

    void Run(const Load& load, LoadTally& tally) override;

    /// The log records that the client has written.
    std::uint64_t LogRecords() const { return logger->Records(); }

private:
    const Submission submission;
    const std::shared_ptr<CountingLogger> logger;
    LumNetworking::WinHttpClientAsync client;
};

} // namespace LumBench
