#include "MultiLoopClient.h"

#include "LoadTally.h"

#include <stdexcept>

namespace LumBench {

namespace {

void require(CURLMcode code)
{
    if (code != CURLM_OK) {
        throw std::runtime_error(curl_multi_strerror(code));
    }
}

/// The owner of the response, as a completion is: it counts it and lets it go.
void countResult(CURLcode result, long status, std::unique_ptr<EasyResponse> response, LoadTally& tally)
{
    if (result == CURLE_OK) {
        tally.Count(status, response->body.size());
    } else {
        tally.CountFailure();
    }
    response.reset();
}

} // namespace

MultiLoopClient::MultiLoopClient() : multi(curl_multi_init()) {}

void MultiLoopClient::Run(const Load& load, LoadTally& tally)
{
    const std::string url = load.baseUrl + load.path;
    std::vector<Transfer> transfers(load.concurrency);
    for (Transfer& transfer : transfers) {
        Start(transfer, url);
    }
    int running = 0;
    do {
        require(curl_multi_perform(multi.get(), &running));
        // A transfer that has just begun needs no waiting for.
        const bool hasStarted = FinishTransfers(url, tally);
        if (!hasStarted && running > 0) {
            require(curl_multi_poll(multi.get(), nullptr, 0, 1000, nullptr));
        }
        running += hasStarted ? 1 : 0;
    } while (running > 0);
}

void MultiLoopClient::Start(Transfer& transfer, const std::string& url)
{
    transfer.response = std::make_unique<EasyResponse>();
    transfer.handle = MakeEasyHandle(url, *transfer.response);
    curl_easy_setopt(transfer.handle.get(), CURLOPT_PRIVATE, &transfer);
    require(curl_multi_add_handle(multi.get(), transfer.handle.get()));
}

/// Counts what has ended and starts as many new transfers while there is time; true if there are any.
bool MultiLoopClient::FinishTransfers(const std::string& url, LoadTally& tally)
{
    bool hasStarted = false;
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi.get(), &left)) {
        CURL* const handle = message->easy_handle;
        const CURLcode result = message->data.result;
        Transfer* transfer = nullptr;
        curl_easy_getinfo(handle, CURLINFO_PRIVATE, &transfer);
        countResult(result, EasyStatus(handle), std::move(transfer->response), tally);
        require(curl_multi_remove_handle(multi.get(), handle));
        transfer->handle.reset();
        if (!tally.IsOver()) {
            Start(*transfer, url);
            hasStarted = true;
        }
    }
    return hasStarted;
}

} // namespace LumBench
