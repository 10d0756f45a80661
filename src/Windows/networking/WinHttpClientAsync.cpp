#include "Windows/networking/WinHttpClientAsync.h"

#include "Windows/networking/LibLumNetworkingWinUtils.h"
#include "Windows/networking/WinHttpAsyncContext.h"
#include "Windows/networking/WinHttpAsyncTransaction.h"
#include "Windows/utils/LumModule.h"
#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumAscii.h"
#include "common/utils/LumLog.h"
#include "common/utils/LumTextUtils.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <limits>
#include <new>
#include <stdexcept>
#include <string_view>

namespace LumNetworking {

namespace {

using Headers = std::map<std::string, std::string>;
using WinHttpTransaction = WinHttpAsyncTransaction<WinHttpAsyncContext>;

constexpr const char* kCallbackFunction = "LumNetworking::WinHttpAsyncCallback";

/// Handles created and closing, all completions, and those of proxy detection.
constexpr DWORD kNotificationMask = 0x097E0C00;

constexpr std::uint32_t kHighestPort = 65535;

/// What the platform has to read at a time, as a rule: the first announcement is often less, and must not make the read
/// buffer too small for the next.
constexpr std::size_t kUsualRead = 8192;

/// What one operation asks for, but for its body and its completion.
struct RequestDescription {
    HttpMethod method;
    const UrlComponents& url;
    const Headers& headers;
    bool followRedirects;
    int timeoutSeconds;
};

/// The step at which a request could not be started.
struct StartFailure {
    int code;
    const char* apiName;
    std::unique_ptr<LumUtils::ILumError> error;
};

/// Puts the text as UTF-16 into `wide`. False, with the last error set, if a platform call that reads up to a NUL would
/// not get the whole text: a request is never sent without what the caller gave.
bool toPlatformText(const std::string& text, LumUtils::WideString& wide)
{
    if (text.find('\0') != std::string::npos) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    wide = LumUtils::utf8ToUtf16(text);
    return !wide.empty() || text.empty();
}

/// The port for the platform, which takes 0 for the scheme's default. False, with the last error set, for a number that
/// is no port.
bool toPlatformPort(std::uint32_t port, INTERNET_PORT& platformPort)
{
    if (port == UrlComponents::kNoPort) {
        platformPort = INTERNET_DEFAULT_PORT;
        return true;
    }
    if (port > kHighestPort) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    platformPort = static_cast<INTERNET_PORT>(port);
    return true;
}

/// The lengths of headers and body go to the platform in 32 bits.
bool fitsPlatformLength(std::size_t length)
{
    return length <= std::numeric_limits<DWORD>::max();
}

std::string objectName(const UrlComponents& url)
{
    std::string name = url.GetPathAndQuery();
    if (name.empty() || name.front() != '/') {
        name.insert(name.begin(), '/');
    }
    return name;
}

/// Field names consist of these (RFC 9110, section 5.6.2).
bool isTokenCharacter(char character)
{
    constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
    return LumUtils::Ascii::isAlphanumeric(character) || kMarks.find(character) != std::string_view::npos;
}

bool isFieldName(const std::string& name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), isTokenCharacter);
}

/// Whether the value can be sent as it is. A line end would begin another field. A value of vertical tabs and form
/// feeds alone counts as an empty one for some platforms, which then leave the field out.
bool isFieldValue(const std::string& value)
{
    const bool hasLineEnd = value.find_first_of("\r\n") != std::string::npos;
    const bool isLeftOut =
        value.find_first_of("\v\f") != std::string::npos && value.find_first_not_of(" \t\v\f") == std::string::npos;
    return !hasLineEnd && !isLeftOut;
}

/// The header fields as one block. False, with the last error set, if one cannot be sent as it is.
bool toHeaderBlock(const Headers& headers, std::string& block)
{
    for (const auto& [name, value] : headers) {
        if (!isFieldName(name) || !isFieldValue(value)) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return false;
        }
        block += name;
        block += ": ";
        block += value;
        block += "\r\n";
    }
    return true;
}

void CALLBACK WinHttpAsyncCallback(HINTERNET handle, DWORD_PTR contextValue, DWORD status, LPVOID information,
                                   DWORD length);

bool openSession(WinHttpAsyncContext& context)
{
    if (kLumRequestsOutliveModule) {
        // Notifications may come at any time from here on.
        LumUtils::pinModule();
    }
    context.session.reset(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, WINHTTP_NO_PROXY_NAME,
                                      WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC));
    return context.session != nullptr;
}

bool setCallback(const WinHttpAsyncContext& context)
{
    return WinHttpSetStatusCallback(context.session.get(), WinHttpAsyncCallback, kNotificationMask, 0) !=
           WINHTTP_INVALID_STATUS_CALLBACK;
}

bool openConnection(WinHttpAsyncContext& context, const UrlComponents& url)
{
    LumUtils::WideString host;
    INTERNET_PORT port = INTERNET_DEFAULT_PORT;
    if (!toPlatformText(url.host, host) || !toPlatformPort(url.port, port)) {
        return false;
    }
    context.connection.reset(WinHttpConnect(context.session.get(), host.c_str(), port, 0));
    return context.connection != nullptr;
}

bool openRequest(WinHttpAsyncContext& context, HttpMethod method, const UrlComponents& url)
{
    LumUtils::WideString verb;
    LumUtils::WideString object;
    if (!toPlatformText(HttpMethodToString(method), verb) || !toPlatformText(objectName(url), object)) {
        return false;
    }
    const DWORD flags = WINHTTP_FLAG_REFRESH | (url.isSecure ? WINHTTP_FLAG_SECURE : 0U);
    context.request.reset(WinHttpOpenRequest(context.connection.get(), verb.c_str(), object.c_str(), nullptr,
                                             WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, flags));
    return context.request != nullptr;
}

bool setOptions(WinHttpAsyncContext& context, const RequestDescription& description,
                std::unique_ptr<LumUtils::ILumError>& error)
{
    using namespace LibLumNetworkingWinUtils;
    try {
        return SetTimeoutForRequest(context.logger, context.request.get(), description.timeoutSeconds, error) &&
               SetShouldFollowRedirectsForRequest(context.logger, context.request.get(), description.followRedirects,
                                                  error);
    } catch (...) {
        // A logger that throws must not keep the request from being completed with its error.
        if (!error) {
            throw;
        }
        return false;
    }
}

bool sendRequest(WinHttpAsyncContext& context, const Headers& headers)
{
    std::string text;
    LumUtils::WideString block;
    if (!toHeaderBlock(headers, text) || !toPlatformText(text, block)) {
        return false;
    }
    if (!fitsPlatformLength(block.size()) || !fitsPlatformLength(context.requestBody.size())) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    const auto bodyLength = static_cast<DWORD>(context.requestBody.size());
    void* const body = bodyLength > 0 ? context.requestBody.data() : WINHTTP_NO_REQUEST_DATA;
    const WCHAR* const blockText = block.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS : block.c_str();
    context.HoldForPlatform();
    if (!WinHttpSendRequest(context.request.get(), blockText, static_cast<DWORD>(block.size()), body, bodyLength,
                            bodyLength, reinterpret_cast<DWORD_PTR>(&context))) {
        context.ReleaseFromPlatform();
        return false;
    }
    return true;
}

/// Opens and sends the request. A failure leaves the step in `failure`, and the last error set where it has no error.
bool startRequest(WinHttpAsyncContext& context, const RequestDescription& description, StartFailure& failure)
{
    failure = {LumNetworkingErrorCode::kOpenFailed, "WinHttpOpen", nullptr};
    if (!openSession(context)) {
        return false;
    }
    failure.apiName = "WinHttpSetStatusCallback";
    if (!setCallback(context)) {
        return false;
    }
    failure.apiName = "WinHttpConnect";
    if (!openConnection(context, description.url)) {
        return false;
    }
    failure.apiName = "WinHttpOpenRequest";
    if (!openRequest(context, description.method, description.url)) {
        return false;
    }
    failure = {LumNetworkingErrorCode::kSetOptionFailed, "WinHttpSetOption", nullptr};
    if (!setOptions(context, description, failure.error)) {
        return false;
    }
    failure = {LumNetworkingErrorCode::kSendFailed, "WinHttpSendRequest", nullptr};
    return sendRequest(context, description.headers);
}

/// Opens and sends the request as startRequest does; without memory, or with texts that no memory could hold, it fails
/// too.
bool isStarted(WinHttpAsyncContext& context, const RequestDescription& description, StartFailure& failure)
{
    try {
        return startRequest(context, description, failure);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    } catch (const std::length_error&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return false;
}

/// Reports the last error as the failure of the step. The request must be completed also if that throws.
void reportStartFailure(const WinHttpAsyncContext& context, StartFailure& failure)
{
    try {
        LibLumNetworkingWinUtils::ReportWinHttpError(context.logger, failure.code, failure.apiName, failure.error,
                                                     __FILE__, "HandleHttpAsyncFailure", 186);
    } catch (...) {
        // The record is lost.
        return;
    }
}

/// Completes a request that could not be started, on the caller's thread. Without a completion nothing is reported.
void HandleHttpAsyncFailure(WinHttpAsyncContext& context, StartFailure failure)
{
    if (context.completion && !failure.error) {
        reportStartFailure(context, failure);
    }
    context.error = std::move(failure.error);
    context.EnsureError();
    context.CompleteAndRelease();
}

/// What a request needs before it can fail as one. Empty, with a record, if there is no memory for it, or if the
/// caller's completion throws when it is copied.
std::shared_ptr<WinHttpTransaction> makeTransaction(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger,
                                                    const std::string& body, const HttpCompletion& completion,
                                                    std::shared_ptr<WinHttpAsyncContext>& context)
{
    try {
        context = std::make_shared<WinHttpAsyncContext>(logger, completion);
        context->requestBody = body;
        auto transaction = std::make_shared<WinHttpTransaction>();
        transaction->SetContext(context);
        context->transaction = transaction;
        return transaction;
    } catch (const std::exception& exception) {
        LUM_TRY_LOG(logger, Error, "LumNetworking::PerformHttpAsync", "Failed to start HTTP request: %s",
                    exception.what());
    } catch (...) {
        LUM_TRY_LOG(logger, Error, "LumNetworking::PerformHttpAsync",
                    "Failed to start HTTP request: Unknown exception");
    }
    return nullptr;
}

std::shared_ptr<ILumAsynchronousTransaction> PerformHttpAsync(
    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger, const RequestDescription& description,
    const std::string& body, const HttpCompletion& completion)
{
    std::shared_ptr<WinHttpAsyncContext> context;
    std::shared_ptr<WinHttpTransaction> transaction = makeTransaction(logger, body, completion, context);
    StartFailure failure{};
    if (transaction && !isStarted(*context, description, failure)) {
        HandleHttpAsyncFailure(*context, std::move(failure));
    }
    return transaction;
}

/// Reports the last error for the failed call and completes the request.
void fail(WinHttpAsyncContext& context, const char* apiName, unsigned int line)
{
    LibLumNetworkingWinUtils::ReportWinHttpError(context.logger, LumNetworkingErrorCode::kReceiveFailed, apiName,
                                                 context.error, __FILE__, kCallbackFunction, line);
    context.CompleteAndRelease();
}

void onSendRequestComplete(WinHttpAsyncContext& context)
{
    if (!WinHttpReceiveResponse(context.request.get(), nullptr)) {
        fail(context, "WinHttpReceiveResponse", 94);
    }
}

/// The length that the server announced, or 0.
std::uint64_t announcedLength(const HttpResponse& response)
{
    const std::vector<std::string>* const values = FindHeader(response, "Content-Length");
    if (values == nullptr) {
        return 0;
    }
    const std::string& text = values->front();
    std::uint64_t length = 0;
    std::from_chars(text.data(), text.data() + text.size(), length);
    return length;
}

/// Puts status and headers into the response. False if the request has been completed with a failure instead.
bool readStatusAndHeaders(WinHttpAsyncContext& context)
{
    DWORD status = 0;
    if (!LibLumNetworkingWinUtils::QueryHttpStatusCode(context.request.get(), status)) {
        fail(context, "WinHttpQueryHeaders", 124);
        return false;
    }
    LUM_LOG_AT(context.logger, Info, kCallbackFunction, 105, "HTTP status code is %d", static_cast<int>(status));
    auto response = std::make_unique<HttpResponse>();
    response->statusCode = static_cast<std::int32_t>(status);
    if (!LibLumNetworkingWinUtils::ReadResponseHeaders(context.logger, context.request.get(), *response,
                                                       context.error)) {
        LUM_LOG(context.logger, Error, kCallbackFunction, "Error occurred while querying headers: %s",
                context.error->getDescription().c_str());
        context.CompleteAndRelease();
        return false;
    }
    context.body.ExpectLength(announcedLength(*response));
    context.response = std::move(response);
    return true;
}

void onHeadersAvailable(WinHttpAsyncContext& context)
{
    if (readStatusAndHeaders(context) && !WinHttpQueryDataAvailable(context.request.get(), nullptr)) {
        fail(context, "WinHttpQueryDataAvailable", 119);
    }
}

void onDataAvailable(WinHttpAsyncContext& context, DWORD count)
{
    if (count == 0) {
        context.response->body = context.body.Take();
        LUM_LOG_AT(context.logger, Info, kCallbackFunction, 136, "Response body is read successfully.");
        context.CompleteAndRelease();
        return;
    }
    context.readBuffer.reserve(std::max<std::size_t>(count, kUsualRead));
    context.readBuffer.resize(count);
    if (!WinHttpReadData(context.request.get(), context.readBuffer.data(), count, nullptr)) {
        fail(context, "WinHttpReadData", 142);
    }
}

void onReadComplete(WinHttpAsyncContext& context, DWORD count)
{
    if (count == 0) {
        return;
    }
    context.body.Append(context.readBuffer.data(), count);
    if (!WinHttpQueryDataAvailable(context.request.get(), nullptr)) {
        fail(context, "WinHttpQueryDataAvailable", 156);
    }
}

void dispatch(WinHttpAsyncContext& context, DWORD status, const void* information, DWORD length)
{
    switch (status) {
    case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
        onSendRequestComplete(context);
        break;
    case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
        onHeadersAvailable(context);
        break;
    case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE:
        onDataAvailable(context, *static_cast<const DWORD*>(information));
        break;
    case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
        onReadComplete(context, length);
        break;
    case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
        fail(context, "WINHTTP_CALLBACK_STATUS_REQUEST_ERROR", 167);
        break;
    default:
        break;
    }
}

/// Whether the notification belongs to a running request. The others, handle-closing above all, may come when the
/// context is gone, and must not read it.
bool isStepOfRequest(DWORD status)
{
    return status == WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE ||
           status == WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE || status == WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE ||
           status == WINHTTP_CALLBACK_STATUS_READ_COMPLETE || status == WINHTTP_CALLBACK_STATUS_REQUEST_ERROR;
}

/// Completes a request whose step threw: memory ran out, or the logger delegate threw, which may well happen again.
/// What the step had already found to be wrong stays the error.
void failAfterException(WinHttpAsyncContext& context, DWORD platformCode)
{
    try {
        if (!context.error) {
            SetLastError(platformCode);
            LibLumNetworkingWinUtils::ReportWinHttpError(context.logger, LumNetworkingErrorCode::kReceiveFailed,
                                                         "WinHttpAsyncCallback", context.error, __FILE__,
                                                         kCallbackFunction, __LINE__);
        }
    } catch (...) {
        // The record is lost.
    }
    context.EnsureError();
    context.CompleteAndRelease();
}

void CALLBACK WinHttpAsyncCallback(HINTERNET /*handle*/, DWORD_PTR contextValue, DWORD status, LPVOID information,
                                   DWORD length)
{
    if (contextValue == 0 || !isStepOfRequest(status)) {
        return;
    }
    // Held to the end of the notification: completing the request lets go of everything else that holds it.
    const std::shared_ptr<WinHttpAsyncContext> context =
        reinterpret_cast<WinHttpAsyncContext*>(contextValue)->shared_from_this();
    if (context->completed) {
        return;
    }
    try {
        dispatch(*context, status, information, length);
    } catch (const std::bad_alloc&) {
        failAfterException(*context, ERROR_NOT_ENOUGH_MEMORY);
    } catch (...) {
        failAfterException(*context, ERROR_WINHTTP_INTERNAL_ERROR);
    }
}

} // namespace

std::shared_ptr<ILumAsynchronousTransaction> WinHttpClientAsync::Get(const UrlComponents& url, const Headers& headers,
                                                                     const HttpCompletion& completion,
                                                                     bool followRedirects, int timeoutSeconds)
{
    return PerformHttpAsync(logger, {HttpMethod::Get, url, headers, followRedirects, timeoutSeconds}, "", completion);
}

std::shared_ptr<ILumAsynchronousTransaction> WinHttpClientAsync::Post(const UrlComponents& url, const Headers& headers,
                                                                      const std::string& body,
                                                                      const HttpCompletion& completion,
                                                                      bool followRedirects, int timeoutSeconds)
{
    return PerformHttpAsync(logger, {HttpMethod::Post, url, headers, followRedirects, timeoutSeconds}, body,
                            completion);
}

std::shared_ptr<ILumAsynchronousTransaction> WinHttpClientAsync::Put(const UrlComponents& url, const Headers& headers,
                                                                     const std::string& body,
                                                                     const HttpCompletion& completion,
                                                                     bool followRedirects, int timeoutSeconds)
{
    return PerformHttpAsync(logger, {HttpMethod::Put, url, headers, followRedirects, timeoutSeconds}, body, completion);
}

std::shared_ptr<ILumAsynchronousTransaction> WinHttpClientAsync::Patch(const UrlComponents& url, const Headers& headers,
                                                                       const std::string& body,
                                                                       const HttpCompletion& completion,
                                                                       bool followRedirects, int timeoutSeconds)
{
    return PerformHttpAsync(logger, {HttpMethod::Patch, url, headers, followRedirects, timeoutSeconds}, body,
                            completion);
}

std::shared_ptr<ILumAsynchronousTransaction> WinHttpClientAsync::Delete(const UrlComponents& url,
                                                                        const Headers& headers,
                                                                        const HttpCompletion& completion,
                                                                        bool followRedirects, int timeoutSeconds)
{
    return PerformHttpAsync(logger, {HttpMethod::Delete, url, headers, followRedirects, timeoutSeconds}, "",
                            completion);
}

} // namespace LumNetworking
