#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"

#include "Windows/Cli/networking/socks/HttpClientAsyncContext.h"
#include "Windows/Cli/utils/ManagedException.h"
#include "Windows/networking/WinHttpAsyncTransaction.h"
#include "Windows/utils/LumModule.h"
#include "common/utils/LumLog.h"

#include <exception>
#include <utility>

namespace LumNetworking {

namespace {

using Headers = std::map<std::string, std::string>;
using SocksTransaction = WinHttpAsyncTransaction<HttpClientAsyncContext>;

constexpr const char* kConstructor = "LumNetworking::LumAsynchronousSocksHttpClient::LumAsynchronousSocksHttpClient";
constexpr const char* kPerformFunction = "LumNetworking::LumAsynchronousSocksHttpClient::PerformHttpAsync";
constexpr const char* kWorkerFunction = "LumNetworking::LumAsynchronousSocksHttpClient::HttpWorkerThread";
constexpr const char* kRequestFunction = "LumNetworking::LumAsynchronousSocksHttpClient::HandleHttpRequest";

/// Marks the request as failed and logs the reason. The request must be completed also if the logger throws.
void fail(HttpClientAsyncContext& context, const char* function, const char* reason)
{
    context.Fail();
    LUM_TRY_LOG(context.logger, Error, function, "SOCKS HTTP request error: %s", reason);
}

void failWithoutReason(HttpClientAsyncContext& context)
{
    context.Fail();
    LUM_TRY_LOG(context.logger, Error, kWorkerFunction, "SOCKS HTTP request error: Unknown exception");
}

/// As fail, for what the managed half threw. There may be no memory for its message, nor for any other text.
void failWithMessage(HttpClientAsyncContext& context, const LumUtilsCli::ManagedException& exception)
{
    try {
        fail(context, kWorkerFunction, exception.Message().c_str());
    } catch (...) {
        fail(context, kWorkerFunction, "Failed to marshal exception message");
    }
}

/// The request's answer as every client of the library gives it: a list of values per name.
std::unique_ptr<HttpResponse> toResponse(LumNetworkingCli::HttpClientCliAdapter::HttpResponse answer)
{
    auto response = std::make_unique<HttpResponse>();
    response->statusCode = answer.statusCode;
    response->body = std::move(answer.body);
    for (auto& [name, value] : answer.headers) {
        response->headers[name].push_back(std::move(value));
    }
    return response;
}

} // namespace

LumAsynchronousSocksHttpClient::LumAsynchronousSocksHttpClient(
    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
    const LumUtilsCli::ManagedReference& socksHttpClientCli)
    : LumAsynchronousHttpClientBase(loggerDelegate), socksLogger(loggerDelegate),
      socksAdapter(std::make_shared<LumNetworkingCli::SocksHttpClientCliAdapter>(socksHttpClientCli))
{
    LumUtils::pinModule();
    LUM_LOG(socksLogger, Info, kConstructor, "LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests");
}

LumAsynchronousSocksHttpClient::LumAsynchronousSocksHttpClient(
    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate, const std::string& staTicket,
    const std::string& socksServerUrl, const LumUtilsCli::ManagedReference& socksHttpClientCli)
    : LumAsynchronousHttpClientBase(loggerDelegate), socksLogger(loggerDelegate),
      socksAdapter(
          std::make_shared<LumNetworkingCli::SocksHttpClientCliAdapter>(staTicket, socksServerUrl, socksHttpClientCli))
{
    LumUtils::pinModule();
    LUM_LOG(socksLogger, Info, kConstructor,
            "LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests with STA ticket");
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousSocksHttpClient::Get(const UrlComponents& url,
                                                                                 const Headers& headers,
                                                                                 const HttpCompletion& completion,
                                                                                 bool followRedirects,
                                                                                 int timeoutSeconds)
{
    return PerformHttpAsync("GET", url, headers, "", completion, followRedirects, timeoutSeconds);
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousSocksHttpClient::Post(
    const UrlComponents& url, const Headers& headers, const std::string& body, const HttpCompletion& completion,
    bool followRedirects, int timeoutSeconds)
{
    return PerformHttpAsync("POST", url, headers, body, completion, followRedirects, timeoutSeconds);
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousSocksHttpClient::Put(
    const UrlComponents& url, const Headers& headers, const std::string& body, const HttpCompletion& completion,
    bool followRedirects, int timeoutSeconds)
{
    return PerformHttpAsync("PUT", url, headers, body, completion, followRedirects, timeoutSeconds);
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousSocksHttpClient::Patch(
    const UrlComponents& url, const Headers& headers, const std::string& body, const HttpCompletion& completion,
    bool followRedirects, int timeoutSeconds)
{
    return PerformHttpAsync("PATCH", url, headers, body, completion, followRedirects, timeoutSeconds);
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousSocksHttpClient::Delete(const UrlComponents& url,
                                                                                    const Headers& headers,
                                                                                    const HttpCompletion& completion,
                                                                                    bool followRedirects,
                                                                                    int timeoutSeconds)
{
    return PerformHttpAsync("DELETE", url, headers, "", completion, followRedirects, timeoutSeconds);
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousSocksHttpClient::PerformHttpAsync(
    const char* method, const UrlComponents& url, const Headers& headers, const std::string& body,
    const HttpCompletion& completion, bool followRedirects, int timeoutSeconds)
{
    std::shared_ptr<SocksTransaction> transaction;
    std::shared_ptr<HttpClientAsyncContext> context;
    try {
        std::string urlText = url.GetUrl();
        transaction = std::make_shared<SocksTransaction>();
        context = std::make_shared<HttpClientAsyncContext>(completion, transaction, socksLogger, socksAdapter);
        context->method = method;
        context->url = std::move(urlText);
        context->headers = headers;
        context->body = body;
        context->followRedirects = followRedirects;
        context->timeoutSeconds = timeoutSeconds;
    } catch (const std::exception& exception) {
        LUM_TRY_LOG(socksLogger, Error, kPerformFunction, "SOCKS HTTP request error: %s", exception.what());
        return nullptr;
    } catch (...) {
        LUM_TRY_LOG(socksLogger, Error, kPerformFunction, "SOCKS HTTP request error: Unknown exception");
        return nullptr;
    }
    transaction->SetContext(context);
    try {
        context->worker = std::make_unique<std::thread>(HttpWorkerThread, context);
    } catch (const std::exception& exception) {
        fail(*context, kPerformFunction, exception.what());
        CompleteTransaction(context);
    }
    return transaction;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the thread must hold what it works on
void LumAsynchronousSocksHttpClient::HttpWorkerThread(std::shared_ptr<HttpClientAsyncContext> context)
{
    try {
        HandleHttpRequest(context);
    } catch (const std::exception& exception) {
        fail(*context, kWorkerFunction, exception.what());
    } catch (const LumUtilsCli::ManagedException& exception) {
        failWithMessage(*context, exception);
    } catch (...) {
        failWithoutReason(*context);
    }
    CompleteTransaction(context);
}

void LumAsynchronousSocksHttpClient::HandleHttpRequest(const std::shared_ptr<HttpClientAsyncContext>& context)
{
    const std::shared_ptr<ILumAsynchronousTransaction> transaction = context->transaction.lock();
    if (!transaction || transaction->IsCancelled()) {
        return;
    }
    LUM_LOG(context->logger, Info, kRequestFunction, "LumAsynchronousSocksHttpClient: Making %s request to %s",
            context->method.c_str(), context->url.c_str());
    context->response = toResponse(
        context->clientAdapter->SendAndGetResponse(context->method, context->url, context->headers, context->body));
    LUM_LOG(context->logger, Info, kRequestFunction, "LumAsynchronousSocksHttpClient: Request completed with status %d",
            context->response->statusCode);
}

void LumAsynchronousSocksHttpClient::CompleteTransaction(const std::shared_ptr<HttpClientAsyncContext>& context)
{
    if (context) {
        context->ReleaseRequest();
        context->Complete();
    }
}

} // namespace LumNetworking
