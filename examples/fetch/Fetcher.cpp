#include "Fetcher.h"

#include <utility>

namespace LumFetch {

using LumNetworking::HttpCompletion;
using LumNetworking::HttpMethod;
using LumNetworking::HttpRequestResult;
using LumNetworking::HttpResponse;
using LumNetworking::ILumAsynchronousTransaction;

namespace {

constexpr int kConnectSeconds = 30;

} // namespace

Fetcher::Fetcher(LumNetworking::ILumAsynchronousHttpClient& newClient, std::vector<FetchJob> newJobs)
    : client(newClient), jobs(std::move(newJobs)), entries(jobs.size())
{
}

void Fetcher::StartAll()
{
    for (std::size_t index = 0; index < jobs.size(); ++index) {
        Start(index);
    }
}

void Fetcher::Start(std::size_t index)
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        entries[index].start = Clock::now();
    }
    const HttpCompletion completion = [this,
                                       index](HttpRequestResult result, std::unique_ptr<HttpResponse> response,
                                              std::unique_ptr<LumUtils::ILumError> error,
                                              const std::shared_ptr<ILumAsynchronousTransaction>& /*transaction*/) {
        Finish(index, {true, result, std::move(response), std::move(error)});
    };
    // The transaction could cancel the request. Nobody wants to here, and dropping it lets the request run on.
    if (!Send(jobs[index], completion)) {
        Finish(index, {});
    }
}

std::shared_ptr<ILumAsynchronousTransaction> Fetcher::Send(const FetchJob& job, const HttpCompletion& completion)
{
    switch (job.method) {
    case HttpMethod::Get:
        return client.Get(job.url, {}, completion, job.followRedirects, kConnectSeconds);
    case HttpMethod::Post:
        return client.Post(job.url, {}, job.body, completion, job.followRedirects, kConnectSeconds);
    case HttpMethod::Put:
        return client.Put(job.url, {}, job.body, completion, job.followRedirects, kConnectSeconds);
    case HttpMethod::Patch:
        return client.Patch(job.url, {}, job.body, completion, job.followRedirects, kConnectSeconds);
    case HttpMethod::Delete:
        return client.Delete(job.url, {}, completion, job.followRedirects, kConnectSeconds);
    }
    return nullptr;
}

void Fetcher::Finish(std::size_t index, FetchOutcome outcome)
{
    const std::lock_guard<std::mutex> lock(mutex);
    Entry& entry = entries[index];
    outcome.seconds = std::chrono::duration<double>(Clock::now() - entry.start).count();
    entry.outcome = std::move(outcome);
    entry.isDone = true;
    ++doneCount;
    // Under the lock: once it is open, the one who waits may destroy this object.
    changed.notify_all();
}

bool Fetcher::WaitForNext(std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(mutex);
    if (doneCount < jobs.size()) {
        changed.wait_for(lock, limit, [this, before = doneCount] { return doneCount != before; });
    }
    return doneCount == jobs.size();
}

std::vector<FetchState> Fetcher::States() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<FetchState> states;
    for (const Entry& entry : entries) {
        FetchState state;
        state.isDone = entry.isDone;
        state.seconds =
            entry.isDone ? entry.outcome.seconds : std::chrono::duration<double>(Clock::now() - entry.start).count();
        if (entry.outcome.response) {
            state.status = entry.outcome.response->statusCode;
            state.bodySize = entry.outcome.response->body.size();
        }
        states.push_back(state);
    }
    return states;
}

std::vector<FetchOutcome> Fetcher::TakeOutcomes()
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<FetchOutcome> outcomes;
    for (Entry& entry : entries) {
        outcomes.push_back(std::move(entry.outcome));
    }
    return outcomes;
}

} // namespace LumFetch
