#include "ThreadedEasyClient.h"

#include "LoadTally.h"

#include <thread>

namespace LumBench {

namespace {

void fetchUntilOver(CURL* handle, const std::string& url, LoadTally& tally)
{
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    do {
        EasyResponse response;
        curl_easy_setopt(handle, CURLOPT_HEADERDATA, &response);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, &response);
        if (curl_easy_perform(handle) == CURLE_OK) {
            tally.Count(EasyStatus(handle), response.body.size());
        } else {
            tally.CountFailure();
        }
    } while (!tally.IsOver());
}

} // namespace

void ThreadedEasyClient::Run(const Load& load, LoadTally& tally)
{
    const std::string url = load.baseUrl + load.path;
    EasyResponse unused;
    while (handles.size() < load.concurrency) {
        handles.push_back(MakeEasyHandle(url, unused));
    }
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < load.concurrency; ++index) {
        threads.emplace_back(fetchUntilOver, handles[index].get(), std::cref(url), std::ref(tally));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace LumBench
