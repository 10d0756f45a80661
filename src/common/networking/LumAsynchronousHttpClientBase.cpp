#include "common/networking/LumAsynchronousHttpClientBase.h"

#include "common/utils/LumLog.h"

#include <new>

namespace LumNetworking {

namespace {

using Transaction = std::shared_ptr<ILumAsynchronousTransaction>;

/// Runs an operation, which is refused if there is no memory for it.
template <typename Operation>
Transaction refusedWithoutMemory(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, const char* function,
                                 Operation operation)
{
    try {
        return operation();
    } catch (const std::bad_alloc& exception) {
        LUM_TRY_LOG(logger, Error, function, "Failed to start HTTP request: %s", exception.what());
        return nullptr;
    }
}

/// Starts the request for what the URL says, or refuses it with a record of the given place.
template <typename Start>
Transaction startParsed(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, const char* function,
                        unsigned int line, const std::string& url, Start start)
{
    return refusedWithoutMemory(logger, function, [&]() -> Transaction {
        UrlComponents components;
        if (ParseUrl(url, components) != UrlParseStatus::Parsed) {
            LUM_LOG_AT(logger, Error, function, line, "Failed to parse URL: %s", url.c_str());
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
    return refusedWithoutMemory(logger, kFunction, [&]() -> Transaction {
        if (!request) {
            LUM_LOG_AT(logger, Error, kFunction, 85, "LumUrlRequest is null.");
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
    LUM_LOG_AT(logger, Error, "LumNetworking::LumAsynchronousHttpClientBase::Send", 119,
               "Unsupported HTTP method in LumUrlRequest.");
    return nullptr;
}

} // namespace LumNetworking
