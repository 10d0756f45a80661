#include "common/networking/LumAsynchronousHttpClientBase.h"

#include "common/utils/LumLog.h"

#include <exception>

namespace LumNetworking {

namespace {

using Transaction = std::shared_ptr<ILumAsynchronousTransaction>;

/// Runs an operation. No operation throws: whatever is thrown in it (for lack of memory, or by the caller's own request
/// or completion) refuses the request, with a record.
template <typename Operation>
Transaction refusedIfItThrows(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, const char* function,
                              Operation operation)
{
    try {
        return operation();
    } catch (const std::exception& exception) {
        LUM_TRY_LOG(logger, Error, function, "Failed to start HTTP request: %s", exception.what());
    } catch (...) {
        LUM_TRY_LOG(logger, Error, function, "Failed to start HTTP request: Unknown exception");
    }
    return nullptr;
}

/// Starts the request for what the URL says, or refuses it with a record of the given place.
template <typename Start>
Transaction startParsed(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, const char* function,
                        unsigned int line, const std::string& url, Start start)
{
    return refusedIfItThrows(logger, function, [&]() -> Transaction {
        UrlComponents components;
        if (ParseUrl(url, components) != UrlParseStatus::Parsed) {
            LUM_TRY_LOG_AT(logger, Error, function, line, "Failed to parse URL: %s", url.c_str());
            return nullptr;
        }
        return start(components);
    });
}

std::string toByteString(const std::vector<std::uint8_t>& bytes)
{
    return std::string(bytes.begin(), bytes.end());
}

} // namespace

LumAsynchronousHttpClientBase::LumAsynchronousHttpClientBase(
    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate)
    : logger(loggerDelegate)
{
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousHttpClientBase::Get(
    const std::string& url, const std::map<std::string, std::string>& headers, const HttpCompletion& completion,
    bool followRedirects, int timeoutSeconds)
{
    return startParsed(logger, "LumNetworking::LumAsynchronousHttpClientBase::Get", 23, url,
                       [&](const UrlComponents& components) {
                           return Get(components, headers, completion, followRedirects, timeoutSeconds);
                       });
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousHttpClientBase::Post(
    const std::string& url, const std::map<std::string, std::string>& headers, const std::string& body,
    const HttpCompletion& completion, bool followRedirects, int timeoutSeconds)
{
    return startParsed(logger, "LumNetworking::LumAsynchronousHttpClientBase::Post", 36, url,
                       [&](const UrlComponents& components) {
                           return Post(components, headers, body, completion, followRedirects, timeoutSeconds);
                       });
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousHttpClientBase::Put(
    const std::string& url, const std::map<std::string, std::string>& headers, const std::string& body,
    const HttpCompletion& completion, bool followRedirects, int timeoutSeconds)
{
    return startParsed(logger, "LumNetworking::LumAsynchronousHttpClientBase::Put", 49, url,
                       [&](const UrlComponents& components) {
                           return Put(components, headers, body, completion, followRedirects, timeoutSeconds);
                       });
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousHttpClientBase::Patch(
    const std::string& url, const std::map<std::string, std::string>& headers, const std::string& body,
    const HttpCompletion& completion, bool followRedirects, int timeoutSeconds)
{
    return startParsed(logger, "LumNetworking::LumAsynchronousHttpClientBase::Patch", 62, url,
                       [&](const UrlComponents& components) {
                           return Patch(components, headers, body, completion, followRedirects, timeoutSeconds);
                       });
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousHttpClientBase::Delete(
    const std::string& url, const std::map<std::string, std::string>& headers, const HttpCompletion& completion,
    bool followRedirects, int timeoutSeconds)
{
    return startParsed(logger, "LumNetworking::LumAsynchronousHttpClientBase::Delete", 75, url,
                       [&](const UrlComponents& components) {
                           return Delete(components, headers, completion, followRedirects, timeoutSeconds);
                       });
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousHttpClientBase::Send(
    const std::shared_ptr<ILumUrlRequest>& request, const HttpCompletion& completion, bool followRedirects,
    int timeoutSeconds)
{
    constexpr const char* kFunction = "LumNetworking::LumAsynchronousHttpClientBase::Send";
    return refusedIfItThrows(logger, kFunction, [&]() -> Transaction {
        if (!request) {
            LUM_TRY_LOG_AT(logger, Error, kFunction, 85, "LumUrlRequest is null.");
            return nullptr;
        }
        return SendMethod(*request, completion, followRedirects, timeoutSeconds);
    });
}

Transaction LumAsynchronousHttpClientBase::SendMethod(ILumUrlRequest& request, const HttpCompletion& completion,
                                                      bool followRedirects, int timeoutSeconds)
{
    const UrlComponents& url = request.GetUrlComponents();
    const std::map<std::string, std::string>& headers = request.GetHeaders();
    const HttpMethod method = request.GetMethod();
    const std::vector<std::uint8_t>& body = request.GetBody();
    switch (method) {
    case HttpMethod::Get:
        return Get(url, headers, completion, followRedirects, timeoutSeconds);
    case HttpMethod::Post:
        return Post(url, headers, toByteString(body), completion, followRedirects, timeoutSeconds);
    case HttpMethod::Put:
        return Put(url, headers, toByteString(body), completion, followRedirects, timeoutSeconds);
    case HttpMethod::Patch:
        return Patch(url, headers, toByteString(body), completion, followRedirects, timeoutSeconds);
    case HttpMethod::Delete:
        return Delete(url, headers, completion, followRedirects, timeoutSeconds);
    }
    LUM_TRY_LOG_AT(logger, Error, "LumNetworking::LumAsynchronousHttpClientBase::Send", 119,
                   "Unsupported HTTP method in LumUrlRequest.");
    return nullptr;
}

} // namespace LumNetworking
