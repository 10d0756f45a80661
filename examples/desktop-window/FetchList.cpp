#include "FetchList.h"

#include "common/utils/LumError.h"

#include <utility>

namespace LumWindow {

using LumNetworking::HttpRequestResult;

namespace {

constexpr int kConnectSeconds = 30;

/// The value under the key, or one that says that there is none.
template <typename Value>
Value valueOf(const LumUtils::ILumError& error, const std::string& key, const Value& none)
{
    const auto found = error.getUserInfo().find(key);
    const auto* const value = found == error.getUserInfo().end() ? nullptr : std::any_cast<Value>(&found->second);
    return value == nullptr ? none : *value;
}

/// The step that failed, the system's number and its text.
std::string textOfError(const LumUtils::ILumError& error)
{
    return "Failed: " + std::to_string(error.getCode()) + ", " +
           std::to_string(valueOf(error, LumUtils::LumErrorUnderlyingErrorCode, 0)) + ", " +
           valueOf(error, LumUtils::LumErrorUnderlyingErrorDescription, std::string("out of memory"));
}

std::string textOfOutcome(HttpRequestResult result, const LumNetworking::HttpResponse* response,
                          const LumUtils::ILumError* error)
{
    if (result == HttpRequestResult::CANCELLED) {
        return "Cancelled";
    }
    return response != nullptr ? "Done: " + std::to_string(response->statusCode) : textOfError(*error);
}

} // namespace

FetchList::FetchList(std::shared_ptr<LumNetworking::ILumAsynchronousHttpClient> httpClient,
                     std::shared_ptr<WindowMailbox> windowMailbox, RowChanged rowChanged)
    : client(std::move(httpClient)), mailbox(std::move(windowMailbox)), changed(std::move(rowChanged))
{
}

void FetchList::Start(const std::string& url)
{
    const std::size_t index = fetches.size();
    fetches.push_back({{url, "Fetching", ""}, nullptr});
    Show(index);
    // The completion may come before Get returns, and after the window is closed.
    const auto onCompleted = [box = mailbox, list = weak_from_this(), index](HttpRequestResult result, auto response,
                                                                             auto error, auto) {
        const std::string state = textOfOutcome(result, response.get(), error.get());
        const std::string size = response ? std::to_string(response->body.size()) : "";
        box->Post([list, index, state, size] {
            if (const auto living = list.lock()) {
                living->Finish(index, state, size);
            }
        });
    };
    fetches[index].transaction = client->Get(url, {}, onCompleted, true, kConnectSeconds);
    if (!fetches[index].transaction) {
        Finish(index, "Refused: no http or https URL", "");
    }
}

void FetchList::Cancel(const std::vector<std::size_t>& indices)
{
    for (const std::size_t index : indices) {
        Fetch& fetch = fetches.at(index);
        if (fetch.transaction) {
            fetch.transaction->Cancel();
            fetch.row.state = "Cancelling";
            Show(index);
        }
    }
}

void FetchList::CancelAll()
{
    for (const Fetch& fetch : fetches) {
        if (fetch.transaction) {
            fetch.transaction->Cancel();
        }
    }
}

void FetchList::Finish(std::size_t index, const std::string& state, const std::string& size)
{
    Fetch& fetch = fetches[index];
    fetch.transaction = nullptr;
    fetch.row.state = state;
    fetch.row.size = size;
    Show(index);
}

} // namespace LumWindow
