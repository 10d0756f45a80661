#include "Fetch.h"

namespace LumDesktop {

using LumNetworking::HttpRequestResult;
using LumNetworking::HttpResponse;
using LumNetworking::ILumAsynchronousHttpClient;
using LumNetworking::ILumAsynchronousTransaction;

namespace {

constexpr bool kFollowRedirects = true;
constexpr int kConnectSeconds = 30;

} // namespace

Fetch::Fetch(std::string fileUrl, std::string storePath) : url(std::move(fileUrl)), path(std::move(storePath)) {}

void Fetch::Start(ILumAsynchronousHttpClient& directClient, ILumAsynchronousHttpClient& proxiedClient)
{
    directTransaction = StartOne(directClient, &Fetch::direct);
    proxiedTransaction = StartOne(proxiedClient, &Fetch::proxied);
}

Fetch::Transaction Fetch::StartOne(ILumAsynchronousHttpClient& client, Leg Fetch::*leg)
{
    Transaction transaction = client.Get(url, {}, CompletionOf(leg), kFollowRedirects, kConnectSeconds);
    if (!transaction) {
        const std::lock_guard<std::mutex> lock(mutex);
        (this->*leg).isDone = true;
        (this->*leg).failure = "The request was refused; the log says why.";
    }
    return transaction;
}

LumNetworking::HttpCompletion Fetch::CompletionOf(Leg Fetch::*leg)
{
    // Not owning: the file holds the transaction, and that the completion.
    return [weak = weak_from_this(), leg](HttpRequestResult, std::unique_ptr<HttpResponse> response,
                                          std::unique_ptr<LumUtils::ILumError> error,
                                          const std::shared_ptr<ILumAsynchronousTransaction>&) {
        const std::shared_ptr<Fetch> self = weak.lock();
        if (!self) {
            return;
        }
        const std::lock_guard<std::mutex> lock(self->mutex);
        Leg& own = (*self).*leg;
        if (response) {
            own.status = response->statusCode;
            own.body = std::move(response->body);
        } else {
            own.failure = error ? error->getDescription() : "The request was cancelled.";
        }
        own.isDone = true;
        if (self->direct.isDone && self->proxied.isDone) {
            self->Finish();
        }
    };
}

/// Called with the lock held, on the thread that brought the later of the two.
void Fetch::Finish()
{
    if (!direct.failure.empty() || !proxied.failure.empty()) {
        return;
    }
    isSame = direct.status == proxied.status && direct.body == proxied.body;
    constexpr std::int32_t kFirstStatusOfNoSuccess = 300;
    if (isSame && direct.status < kFirstStatusOfNoSuccess) {
        Store();
    }
}

void Fetch::Store()
{
    LumStorage::LumFileManager files(nullptr);
    std::shared_ptr<LumUtils::ILumError> error;
    isStored = files.writeFileContentWithLock(path, proxied.body, error);
    if (error) {
        storeFailure = error->getDescription();
    }
}

Fetch::State Fetch::Describe()
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto flag = [](bool value) { return value ? 1 : 0; };
    return {flag(direct.isDone),
            flag(proxied.isDone),
            direct.status,
            proxied.status,
            static_cast<std::int64_t>(direct.body.size()),
            static_cast<std::int64_t>(proxied.body.size()),
            flag(isSame),
            flag(isStored),
            direct.failure.c_str(),
            proxied.failure.c_str(),
            storeFailure.c_str(),
            path.c_str()};
}

} // namespace LumDesktop
