#include "managed/native/Probe.h"

#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "Windows/Cli/utils/ManagedException.h"
#include "Windows/networking/WinHttpClientAsync.h"
#include "support/RequestRecorder.h"

#include <exception>
#include <optional>

using LumNetworking::HttpRequestResult;
using LumNetworking::ILumAsynchronousHttpClient;
using Logger = std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>;

namespace {

/// What a request sends.
struct ProbeCall {
    ProbeText method;
    ProbeText url;
    ProbeText body;
    const ProbeHeader* headers;
    std::int32_t headerCount;
    std::int32_t followRedirects;
    std::int32_t timeoutSeconds;
};

/// What has come back of a request; the texts live as long as the request.
struct ProbeOutcome {
    std::int32_t result;
    std::int32_t hasResponse;
    std::int32_t hasError;
    std::int32_t hasTransaction;
    std::int32_t onCallersThread;
    std::int32_t completions;
    std::int32_t statusCode;
    std::int32_t headerValues;
    ProbeText body;
    ProbeText errorDomain;
    std::int32_t errorCode;
    std::int32_t errorFacts;
    ProbeText errorDescription;
};

/// A request of a test: it outlives its client, and keeps the transaction until it is told to drop it.
class ProbeRequest {
public:
    void Start(ILumAsynchronousHttpClient& client, const ProbeCall& call)
    {
        std::map<std::string, std::string> headers;
        for (std::int32_t i = 0; i < call.headerCount; ++i) {
            headers[toString(call.headers[i].name)] = toString(call.headers[i].value);
        }
        caller = std::this_thread::get_id();
        Send(client, toString(call.method), toString(call.url), headers, toString(call.body), call.followRedirects != 0,
             call.timeoutSeconds);
    }

    bool HasTransaction() const { return transaction != nullptr; }
    void Cancel() const { transaction->Cancel(); }
    void DropTransaction() { transaction.reset(); }
    bool IsCompleted() const { return recorder.CallCount() > 0; }
    bool Wait()
    {
        try {
            if (!outcome) {
                outcome = recorder.WaitForOutcome();
            }
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }

    /// Also waits until nothing of the request is left but this.
    bool WaitForRelease() const
    {
        try {
            recorder.WaitForRelease();
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }

    ProbeOutcome Describe()
    {
        ProbeOutcome description{};
        description.result = static_cast<std::int32_t>(outcome->result);
        description.hasTransaction = outcome->transaction != nullptr ? 1 : 0;
        description.onCallersThread = outcome->thread == caller ? 1 : 0;
        description.completions = static_cast<std::int32_t>(recorder.CallCount());
        if (outcome->response) {
            description.hasResponse = 1;
            description.statusCode = outcome->response->statusCode;
            description.body = viewOf(outcome->response->body);
            FlattenHeaders();
            description.headerValues = static_cast<std::int32_t>(headerValues.size());
        }
        if (outcome->error) {
            description.hasError = 1;
            description.errorDomain = viewOf(outcome->error->getDomain());
            description.errorCode = outcome->error->getCode();
            description.errorFacts = static_cast<std::int32_t>(outcome->error->getUserInfo().size());
            errorDescription = outcome->error->getDescription();
            description.errorDescription = viewOf(errorDescription);
        }
        return description;
    }

    ProbeHeader HeaderValue(std::int32_t index) const { return headerValues[static_cast<std::size_t>(index)]; }

private:
    void Send(ILumAsynchronousHttpClient& client, const std::string& method, const std::string& url,
              const std::map<std::string, std::string>& headers, const std::string& body, bool followRedirects,
              int timeoutSeconds)
    {
        const LumNetworking::HttpCompletion completion = recorder.Completion();
        if (method == "GET") {
            transaction = client.Get(url, headers, completion, followRedirects, timeoutSeconds);
        } else if (method == "POST") {
            transaction = client.Post(url, headers, body, completion, followRedirects, timeoutSeconds);
        } else if (method == "PUT") {
            transaction = client.Put(url, headers, body, completion, followRedirects, timeoutSeconds);
        } else if (method == "PATCH") {
            transaction = client.Patch(url, headers, body, completion, followRedirects, timeoutSeconds);
        } else if (method == "DELETE") {
            transaction = client.Delete(url, headers, completion, followRedirects, timeoutSeconds);
        }
    }

    /// One entry for each value of each name.
    void FlattenHeaders()
    {
        headerValues.clear();
        for (const auto& [name, values] : outcome->response->headers) {
            for (const std::string& value : values) {
                headerValues.push_back({viewOf(name), viewOf(value)});
            }
        }
    }

    LumTests::RequestRecorder recorder;
    std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> transaction;
    std::optional<LumTests::Outcome> outcome;
    std::thread::id caller;
    std::vector<ProbeHeader> headerValues;
    std::string errorDescription;
};

} // namespace

LUM_PROBE ILumAsynchronousHttpClient* LumProbeCreateDirectClient()
{
    return new LumNetworking::WinHttpClientAsync(nullptr);
}

/// As a host's native part does with the address that the factory returned.
LUM_PROBE void LumProbeDeleteClient(ILumAsynchronousHttpClient* client)
{
    const std::unique_ptr<ILumAsynchronousHttpClient> adopted(client);
}

/// Gives the managed client a ticket and a server first. What it throws comes back as a handle.
LUM_PROBE ILumAsynchronousHttpClient* LumProbeCreateClientWithTicket(const LumCliHostTable* table, const Logger* logger,
                                                                     const ProbeText* ticket, const ProbeText* server,
                                                                     LumCliHandle client, LumCliHandle* exception)
{
    *exception = 0;
    try {
        const LumUtilsCli::ManagedReference managedClient{table, client};
        return new LumNetworking::LumAsynchronousSocksHttpClient(*logger, toString(*ticket), toString(*server),
                                                                 managedClient);
    } catch (const LumUtilsCli::ManagedException& thrown) {
        *exception = thrown.Release();
        return nullptr;
    }
}

LUM_PROBE ProbeRequest* LumProbeStart(ILumAsynchronousHttpClient* client, const ProbeCall* call)
{
    auto request = std::make_unique<ProbeRequest>();
    request->Start(*client, *call);
    return request.release();
}

LUM_PROBE std::int32_t LumProbeHasTransaction(const ProbeRequest* request)
{
    return request->HasTransaction() ? 1 : 0;
}

LUM_PROBE void LumProbeCancel(const ProbeRequest* request)
{
    request->Cancel();
}

LUM_PROBE void LumProbeDropTransaction(ProbeRequest* request)
{
    request->DropTransaction();
}

LUM_PROBE std::int32_t LumProbeIsCompleted(const ProbeRequest* request)
{
    return request->IsCompleted() ? 1 : 0;
}

/// Waits for the completion; 0 if it never comes.
LUM_PROBE std::int32_t LumProbeWait(ProbeRequest* request, ProbeOutcome* outcome)
{
    if (!request->Wait()) {
        return 0;
    }
    *outcome = request->Describe();
    return 1;
}

LUM_PROBE std::int32_t LumProbeWaitForRelease(const ProbeRequest* request)
{
    return request->WaitForRelease() ? 1 : 0;
}

LUM_PROBE void LumProbeHeaderValue(const ProbeRequest* request, std::int32_t index, ProbeHeader* header)
{
    *header = request->HeaderValue(index);
}

LUM_PROBE void LumProbeFree(ProbeRequest* request)
{
    const std::unique_ptr<ProbeRequest> owned(request);
}
