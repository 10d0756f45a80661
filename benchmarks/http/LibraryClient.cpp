#include "LibraryClient.h"

#include "LoadTally.h"

#include <condition_variable>
#include <mutex>

#include <semaphore.h>

namespace LumBench {

namespace {

using LumNetworking::HttpCompletion;
using LumNetworking::HttpRequestResult;
using LumNetworking::HttpResponse;
using LumNetworking::ILumAsynchronousHttpClient;

constexpr int kConnectSeconds = 30;

/// The requests of one load: each calls OnEnded when it has been counted.
class Requests {
public:
    Requests(ILumAsynchronousHttpClient& newClient, const Load& load, LoadTally& newTally)
        : client(newClient), url(load.baseUrl + load.path), tally(newTally),
          completion([this](HttpRequestResult result, std::unique_ptr<HttpResponse> response, auto&&...) {
              CountResult(result, response.get());
              OnEnded();
          })
    {
    }
    virtual ~Requests() = default;
    Requests(const Requests&) = delete;
    Requests& operator=(const Requests&) = delete;

protected:
    void Start()
    {
        if (!client.Get(url, {}, completion, true, kConnectSeconds)) {
            tally.CountFailure();
            OnEnded();
        }
    }

    bool IsOver() const { return tally.IsOver(); }

private:
    virtual void OnEnded() = 0;

    void CountResult(HttpRequestResult result, const HttpResponse* response)
    {
        if (result == HttpRequestResult::SUCCESS) {
            tally.Count(response->statusCode, response->body.size());
        } else {
            tally.CountFailure();
        }
    }

    ILumAsynchronousHttpClient& client;
    const std::string url;
    LoadTally& tally;
    const HttpCompletion completion;
};

class ChainedRequests : public Requests {
public:
    using Requests::Requests;

    void Run(std::size_t concurrency)
    {
        openChains = concurrency;
        for (std::size_t index = 0; index < concurrency; ++index) {
            Start();
        }
        std::unique_lock<std::mutex> lock(mutex);
        allClosed.wait(lock, [this] { return openChains == 0; });
    }

private:
    void OnEnded() override
    {
        if (!IsOver()) {
            Start();
            return;
        }
        const std::lock_guard<std::mutex> lock(mutex);
        if (--openChains == 0) {
            allClosed.notify_all();
        }
    }

    std::mutex mutex;
    std::condition_variable allClosed;
    std::size_t openChains = 0;
};

class SubmittedRequests : public Requests {
public:
    SubmittedRequests(ILumAsynchronousHttpClient& newClient, const Load& load, LoadTally& newTally)
        : Requests(newClient, load, newTally)
    {
        sem_init(&permits, 0, static_cast<unsigned int>(load.concurrency));
    }
    ~SubmittedRequests() override { sem_destroy(&permits); }

    void Run(std::size_t concurrency)
    {
        while (!IsOver()) {
            TakePermit();
            Start();
        }
        for (std::size_t index = 0; index < concurrency; ++index) {
            TakePermit();
        }
    }

private:
    void OnEnded() override { sem_post(&permits); }

    void TakePermit()
    {
        while (sem_wait(&permits) != 0) {
        }
    }

    sem_t permits{};
};

} // namespace

LibraryClient::LibraryClient(Submission newSubmission)
    : submission(newSubmission), logger(std::make_shared<CountingLogger>()), client(logger)
{
}

void LibraryClient::Run(const Load& load, LoadTally& tally)
{
    if (submission == Submission::Chained) {
        ChainedRequests(client, load, tally).Run(load.concurrency);
    } else {
        SubmittedRequests(client, load, tally).Run(load.concurrency);
    }
}

} // namespace LumBench
