#pragma once

#include "Windows/Cli/networking/HttpClientCliAdapter.h"
#include "common/networking/HttpRequestContext.h"

#include <thread>

namespace LumNetworking {

/// The state of one request that a worker thread carries out, shared between its transaction and the worker.
///
/// What the request asks for is written before the worker starts; then only the worker writes.
struct HttpClientAsyncContext : HttpRequestContext {
    HttpClientAsyncContext(const HttpCompletion& callback, const std::shared_ptr<ILumAsynchronousTransaction>& handle,
                           const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
                           const std::shared_ptr<LumNetworkingCli::HttpClientCliAdapter>& adapter);

    /// Waits for the worker, unless it is the worker itself that lets the context go.
    ~HttpClientAsyncContext();

    HttpClientAsyncContext(const HttpClientAsyncContext&) = delete;
    HttpClientAsyncContext& operator=(const HttpClientAsyncContext&) = delete;

    /// The request is to be completed as FAILED. It takes no memory, so that it works when there is none left.
    void Fail() { error = std::move(preparedError); }

    /// Gives the memory of what the request asks for back, when the managed client has seen it.
    void ReleaseRequest();

    std::string method;
    std::string url;
    std::map<std::string, std::string> headers;
    std::string body;
    /// Kept for completeness: redirects and time-outs are the managed client's business.
    bool followRedirects = false;
    int timeoutSeconds = 0;

    const std::shared_ptr<LumNetworkingCli::HttpClientCliAdapter> clientAdapter;
    std::unique_ptr<std::thread> worker;

private:
    std::unique_ptr<LumUtils::ILumError> preparedError;
};

} // namespace LumNetworking
