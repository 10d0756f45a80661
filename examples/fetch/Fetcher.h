#pragma once

#include "FetchJob.h"
#include "FetchOutcome.h"

#include "common/networking/ILumAsynchronousHttpClient.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace LumFetch {

/// How far a request is.
struct FetchState {
    bool isDone = false;

    /// So long it has been running, or took.
    double seconds = 0;

    /// Of a request that is done: the status and body size of the response, or no status if it failed.
    std::int32_t status = 0;
    std::size_t bodySize = 0;
};

/// Makes requests through the library, all at once, and gathers what comes of them.
///
/// Completions arrive on the library's threads while the caller watches the states from its own. The object must live
/// until all requests are done.
class Fetcher {
public:
    Fetcher(LumNetworking::ILumAsynchronousHttpClient& newClient, std::vector<FetchJob> newJobs);
    Fetcher(const Fetcher&) = delete;
    Fetcher& operator=(const Fetcher&) = delete;

    const std::vector<FetchJob>& Jobs() const { return jobs; }

    void StartAll();

    /// Returns when another request is done, at the latest after this time; true when all are done.
    bool WaitForNext(std::chrono::milliseconds limit);

    /// By job.
    std::vector<FetchState> States() const;

    /// By job; to be called once, when all are done.
    std::vector<FetchOutcome> TakeOutcomes();

private:
    using Clock = std::chrono::steady_clock;

    struct Entry {
        bool isDone = false;
        Clock::time_point start;
        FetchOutcome outcome;
    };

    void Start(std::size_t index);
    std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> Send(const FetchJob& job,
                                                                     const LumNetworking::HttpCompletion& completion);
    void Finish(std::size_t index, FetchOutcome outcome);

    LumNetworking::ILumAsynchronousHttpClient& client;
    const std::vector<FetchJob> jobs;
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<Entry> entries;
    std::size_t doneCount = 0;
};

} // namespace LumFetch
