#include "platform/WinHttpExchange.h"

#include "support/TestServers.h"

#include <algorithm>
#include <chrono>
#include <map>

namespace LumTests {

namespace {

constexpr std::chrono::seconds kPatience{20};

/// Notifications of sessions and connections carry no context: the exchange is found by the session's handle.
std::mutex registryMutex;
std::map<HINTERNET, WinHttpExchange*> registry;

WinHttpExchange* findExchange(HINTERNET handle)
{
    const std::lock_guard<std::mutex> lock(registryMutex);
    const auto found = registry.find(handle);
    return found == registry.end() ? nullptr : found->second;
}

void registerHandle(HINTERNET handle, WinHttpExchange* exchange)
{
    const std::lock_guard<std::mutex> lock(registryMutex);
    registry[handle] = exchange;
}

void forgetExchange(const WinHttpExchange* exchange)
{
    const std::lock_guard<std::mutex> lock(registryMutex);
    for (auto entry = registry.begin(); entry != registry.end();) {
        entry = entry->second == exchange ? registry.erase(entry) : std::next(entry);
    }
}

SeenNotification describe(HINTERNET handle, DWORD_PTR context, DWORD status, const void* information, DWORD length)
{
    SeenNotification notification;
    notification.lastError = GetLastError();
    notification.handle = handle;
    notification.context = context;
    notification.status = status;
    notification.thread = std::this_thread::get_id();
    if (status == WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE) {
        notification.value = *static_cast<const DWORD*>(information);
    } else if (status == WINHTTP_CALLBACK_STATUS_READ_COMPLETE) {
        notification.value = length;
    } else if (status == WINHTTP_CALLBACK_STATUS_REQUEST_ERROR) {
        const auto* const result = static_cast<const WINHTTP_ASYNC_RESULT*>(information);
        notification.value = result->dwError;
        notification.call = result->dwResult;
    }
    return notification;
}

} // namespace

WinHttpExchange::Settings toScripted(const std::string& objectName)
{
    WinHttpExchange::Settings settings;
    settings.port = TestServers::scriptedPort();
    settings.objectName = objectName;
    return settings;
}

std::string queryRawHeaders(HINTERNET request)
{
    DWORD size = 0;
    WinHttpQueryHeaders(request, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, WINHTTP_NO_OUTPUT_BUFFER,
                        &size, WINHTTP_NO_HEADER_INDEX);
    LumUtils::WideString block(size / sizeof(WCHAR), WCHAR{});
    if (!WinHttpQueryHeaders(request, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, block.data(), &size,
                             WINHTTP_NO_HEADER_INDEX)) {
        return {};
    }
    block.resize(size / sizeof(WCHAR));
    return LumUtils::utf16ToUtf8(block);
}

WinHttpExchange::WinHttpExchange(Settings newSettings) : settings(std::move(newSettings))
{
    session = WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS,
                          WINHTTP_FLAG_ASYNC);
    if (session == nullptr) {
        return;
    }
    registerHandle(session, this);
    WinHttpSetStatusCallback(session, OnStatus, 0x097E0C00, 0);
    connection = WinHttpConnect(session, LumUtils::utf8ToUtf16(settings.host).c_str(), settings.port, 0);
    if (connection == nullptr) {
        return;
    }
    registerHandle(connection, this);
    const DWORD flags = WINHTTP_FLAG_REFRESH | (settings.isSecure ? WINHTTP_FLAG_SECURE : 0U);
    request = WinHttpOpenRequest(connection, LumUtils::utf8ToUtf16(settings.verb).c_str(),
                                 LumUtils::utf8ToUtf16(settings.objectName).c_str(), nullptr, WINHTTP_NO_REFERER,
                                 WINHTTP_DEFAULT_ACCEPT_TYPES, flags);
    if (request == nullptr) {
        return;
    }
    registerHandle(request, this);
    WinHttpSetOption(request, WINHTTP_OPTION_CONNECT_TIMEOUT, &settings.connectTimeout, sizeof(DWORD));
    WinHttpSetOption(request, WINHTTP_OPTION_REDIRECT_POLICY, &settings.redirectPolicy, sizeof(DWORD));
}

WinHttpExchange::~WinHttpExchange()
{
    Close();
    if (closingRequest != nullptr) {
        WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, closingRequest);
    }
    if (closingSession != nullptr) {
        WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, closingSession);
    }
    forgetExchange(this);
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return runningCallbacks == 0; });
}

void WinHttpExchange::Close()
{
    for (HINTERNET* const handle : {&request, &connection, &session}) {
        if (*handle == nullptr) {
            continue;
        }
        closingRequest = handle == &request ? *handle : closingRequest;
        closingSession = handle == &session ? *handle : closingSession;
        WinHttpCloseHandle(*handle);
        *handle = nullptr;
    }
}

bool WinHttpExchange::Send()
{
    const LumUtils::WideString headers = LumUtils::utf8ToUtf16(settings.headers);
    const auto bodyLength = static_cast<DWORD>(settings.body.size());
    void* const content = settings.body.empty() ? WINHTTP_NO_REQUEST_DATA : settings.body.data();
    return WinHttpSendRequest(request, headers.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS : headers.c_str(),
                              static_cast<DWORD>(headers.size()), content, bodyLength, bodyLength,
                              reinterpret_cast<DWORD_PTR>(this)) != 0;
}

bool WinHttpExchange::Run()
{
    return Send() && WaitForEnd();
}

bool WinHttpExchange::WaitForEnd()
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, kPatience, [&] { return hasEnded; });
}

bool WinHttpExchange::HasEnded() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return hasEnded;
}

bool WinHttpExchange::WaitFor(DWORD status, HINTERNET handle)
{
    return WaitUntil([&](const std::vector<SeenNotification>& notifications) {
        return std::any_of(notifications.begin(), notifications.end(), [&](const SeenNotification& notification) {
            return notification.status == status && (handle == nullptr || notification.handle == handle);
        });
    });
}

bool WinHttpExchange::WaitForQuiet()
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, kPatience, [&] { return runningCallbacks == 0; });
}

bool WinHttpExchange::WaitUntil(const std::function<bool(const std::vector<SeenNotification>&)>& condition)
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, kPatience, [&] { return condition(seen); });
}

std::vector<SeenNotification> WinHttpExchange::Seen() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return seen;
}

std::vector<DWORD> WinHttpExchange::Steps() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<DWORD> steps;
    for (const SeenNotification& notification : seen) {
        const bool isOfRequest = notification.handle == request || notification.handle == closingRequest;
        const bool isRepeated = std::find(steps.begin(), steps.end(), notification.status) != steps.end();
        if (isOfRequest && !isRepeated && notification.status != WINHTTP_CALLBACK_STATUS_HANDLE_CREATED) {
            steps.push_back(notification.status);
        }
    }
    return steps;
}

SeenNotification WinHttpExchange::Failure() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = std::find_if(seen.begin(), seen.end(), [](const SeenNotification& notification) {
        return notification.status == WINHTTP_CALLBACK_STATUS_REQUEST_ERROR;
    });
    return found == seen.end() ? SeenNotification() : *found;
}

void CALLBACK WinHttpExchange::OnStatus(HINTERNET handle, DWORD_PTR context, DWORD status, LPVOID information,
                                        DWORD length)
{
    const SeenNotification notification = describe(handle, context, status, information, length);
    WinHttpExchange* const exchange = findExchange(handle);
    if (exchange == nullptr) {
        // Created, and not yet returned from the call that creates it.
        return;
    }
    exchange->Record(notification);
    if (exchange->onNotification) {
        exchange->onNotification(notification);
    }
    exchange->TakeStep(notification);
    const std::lock_guard<std::mutex> lock(exchange->mutex);
    --exchange->runningCallbacks;
    exchange->changed.notify_all();
}

void WinHttpExchange::Record(const SeenNotification& notification)
{
    const std::lock_guard<std::mutex> lock(mutex);
    ++runningCallbacks;
    seen.push_back(notification);
    const bool isEnd = notification.status == WINHTTP_CALLBACK_STATUS_REQUEST_ERROR ||
                       (notification.status == WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE && notification.value == 0);
    hasEnded = hasEnded || isEnd;
    changed.notify_all();
}

void WinHttpExchange::TakeStep(const SeenNotification& notification)
{
    const HINTERNET handle = notification.handle;
    switch (notification.status) {
    case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
        if (settings.receives) {
            WinHttpReceiveResponse(handle, nullptr);
        }
        break;
    case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
        ReadHeaders(handle);
        WinHttpQueryDataAvailable(handle, nullptr);
        break;
    case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE:
        if (notification.value > 0) {
            const DWORD size = settings.readSize == 0 ? notification.value : settings.readSize;
            readBuffer.resize(size);
            WinHttpReadData(handle, readBuffer.data(), size, nullptr);
        }
        break;
    case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
        body.append(readBuffer.data(), notification.value);
        WinHttpQueryDataAvailable(handle, nullptr);
        break;
    default:
        break;
    }
}

void WinHttpExchange::ReadHeaders(HINTERNET handle)
{
    DWORD size = sizeof(httpStatus);
    WinHttpQueryHeaders(handle, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER, WINHTTP_HEADER_NAME_BY_INDEX,
                        &httpStatus, &size, WINHTTP_NO_HEADER_INDEX);
    rawHeaders = queryRawHeaders(handle);
}

} // namespace LumTests
