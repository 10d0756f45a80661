#include "LoadClient.h"
#include "LoadTally.h"

#include <cpprest/http_client.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <vector>

namespace LumBench {

namespace {

using web::http::client::http_client;

/// The chains of one load: each request's continuation starts the next request.
class Chains {
public:
    Chains(http_client& newClient, const Load& load, LoadTally& newTally)
        : client(newClient), path(load.path), tally(newTally), openChains(load.concurrency)
    {
    }

    void Run()
    {
        const std::size_t count = openChains;
        for (std::size_t index = 0; index < count; ++index) {
            Step();
        }
        std::unique_lock<std::mutex> lock(mutex);
        allClosed.wait(lock, [this] { return openChains == 0; });
    }

private:
    using BodyTask = pplx::task<std::vector<unsigned char>>;

    void Step()
    {
        client.request(web::http::methods::GET, path)
            .then([](const web::http::http_response& response) { return response.extract_vector(); })
            .then([this](const BodyTask& body) { OnEnded(body); });
    }

    void OnEnded(const BodyTask& body)
    {
        try {
            constexpr long kStatusOk = 200;
            tally.Count(kStatusOk, body.get().size());
        } catch (const std::exception&) {
            tally.CountFailure();
        }
        if (tally.IsOver()) {
            CloseChain();
        } else {
            Step();
        }
    }

    void CloseChain()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (--openChains == 0) {
            allClosed.notify_all();
        }
    }

    http_client& client;
    const std::string path;
    LoadTally& tally;
    std::mutex mutex;
    std::condition_variable allClosed;
    std::size_t openChains;
};

class CpprestClient : public LoadClient {
public:
    void Run(const Load& load, LoadTally& tally) override
    {
        const auto place = clients.try_emplace(load.baseUrl, load.baseUrl).first;
        Chains(place->second, load, tally).Run();
    }

private:
    std::map<std::string, http_client> clients;
};

} // namespace

std::unique_ptr<LoadClient> MakeCpprestClient()
{
    return std::make_unique<CpprestClient>();
}

} // namespace LumBench
