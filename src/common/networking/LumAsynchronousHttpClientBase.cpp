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

bool isParsed(const std::string& url, UrlComponents& components)
{
    return ParseUrl(url, components) == UrlParseStatus::Parsed;
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
    constexpr const char* kFunction = "LumNetworking::LumAsynchronousHttpClientBase::Get";
    return refusedWithoutMemory(logger, kFunction, [&]() -> Transaction {
        UrlComponents components;
        if (!isParsed(url, components)) {
            LUM_LOG_AT(logger, Error, kFunction, 23, "Failed to parse URL: %s", url.c_str());
            return nullptr;
        }
        return Get(components, headers, completion, followRedirects, timeoutSeconds);
    });
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousHttpClientBase::Post(
    const std::string& url, const std::map<std::string, std::string>& headers, const std::string& body,
    const HttpCompletion& completion, bool followRedirects, int timeoutSeconds)
{
    constexpr const char* kFunction = "LumNetworking::LumAsynchronousHttpClientBase::Post";
    return refusedWithoutMemory(logger, kFunction, [&]() -> Transaction {
        UrlComponents components;
        if (!isParsed(url, components)) {
            LUM_LOG_AT(logger, Error, kFunction, 36, "Failed to parse URL: %s", url.c_str());
            return nullptr;
        }
        return Post(components, headers, body, completion, followRedirects, timeoutSeconds);
    });
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousHttpClientBase::Put(
    const std::string& url, const std::map<std::string, std::string>& headers, const std::string& body,
    const HttpCompletion& completion, bool followRedirects, int timeoutSeconds)
{
    constexpr const char* kFunction = "LumNetworking::LumAsynchronousHttpClientBase::Put";
    return refusedWithoutMemory(logger, kFunction, [&]() -> Transaction {
        UrlComponents components;
        if (!isParsed(url, components)) {
            LUM_LOG_AT(logger, Error, kFunction, 49, "Failed to parse URL: %s", url.c_str());
            return nullptr;
        }
        return Put(components, headers, body, completion, followRedirects, timeoutSeconds);
    });
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousHttpClientBase::Patch(
    const std::string& url, const std::map<std::string, std::string>& headers, const std::string& body,
    const HttpCompletion& completion, bool followRedirects, int timeoutSeconds)
{
    constexpr const char* kFunction = "LumNetworking::LumAsynchronousHttpClientBase::Patch";
    return refusedWithoutMemory(logger, kFunction, [&]() -> Transaction {
        UrlComponents components;
        if (!isParsed(url, components)) {
            LUM_LOG_AT(logger, Error, kFunction, 62, "Failed to parse URL: %s", url.c_str());
            return nullptr;
        }
        return Patch(components, headers, body, completion, followRedirects, timeoutSeconds);
    });
}

std::shared_ptr<ILumAsynchronousTransaction> LumAsynchronousHttpClientBase::Delete(
    const std::string& url, const std::map<std::string, std::string>& headers, const HttpCompletion& completion,
    bool followRedirects, int timeoutSeconds)
{
    constexpr const char* kFunction = "LumNetworking::LumAsynchronousHttpClientBase::Delete";
    return refusedWithoutMemory(logger, kFunction, [&]() -> Transaction {
        UrlComponents components;
        if (!isParsed(url, components)) {
            LUM_LOG_AT(logger, Error, kFunction, 75, "Failed to parse URL: %s", url.c_str());
            return nullptr;
        }
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
