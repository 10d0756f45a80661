#include "platform/posix/winhttp/HttpRequest.h"

#include "platform/posix/winhttp/HttpEngine.h"

#include <algorithm>
#include <array>

namespace LumPlatform {

namespace {

/// How much of a body waits for its reader before the transfer pauses.
constexpr std::size_t kArrivingLimit = std::size_t{512} << 10U;

/// A body that is longer is read by another thread than the one that receives it.
constexpr std::size_t kStreamedBody = std::size_t{256} << 10U;

/// For scheme, brackets, port and slash.
constexpr std::size_t kRoomAroundNames = 20;

constexpr DWORD kSecurePort = 443;
constexpr DWORD kPlainPort = 80;

/// Which bytes may stand in a request line as they are.
constexpr std::array<bool, 256> makeAllowedBytes()
{
    std::array<bool, 256> allowed = {};
    for (std::size_t byte = 0x21; byte < 0x7F; ++byte) {
        allowed[byte] = true;
    }
    for (const char forbidden : {'"', '#', '<', '>', '[', '\\', ']', '^', '`', '{', '|', '}'}) {
        allowed[static_cast<unsigned char>(forbidden)] = false;
    }
    return allowed;
}

constexpr std::array<bool, 256> kAllowedBytes = makeAllowedBytes();

/// Adds the name, percent-encoding what may not stand in a request line; what the caller has encoded stays.
void appendObjectName(std::string& url, const std::string& name)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char character : name) {
        const auto byte = static_cast<unsigned char>(character);
        if (kAllowedBytes[byte]) {
            url += character;
            continue;
        }
        url += '%';
        url += kDigits[byte >> 4U];
        url += kDigits[byte & 0x0FU];
    }
}

/// The host as it stands in a URL: an IPv6 address has brackets. What would be read as another part of a URL can be no
/// host; without a host the request fails as one whose name is not resolved.
std::string urlHost(const std::string& host)
{
    if (host.find_first_of("/?#@\\% ") != std::string::npos) {
        return {};
    }
    const bool isBareIpv6 = host.find(':') != std::string::npos && host.front() != '[';
    return isBareIpv6 ? "[" + host + "]" : host;
}

std::string buildUrl(const HttpConnection& connection, const std::string& objectName, bool isSecure)
{
    const DWORD defaultPort = isSecure ? kSecurePort : kPlainPort;
    const DWORD port = connection.Port() == INTERNET_DEFAULT_PORT ? defaultPort : connection.Port();
    std::string url;
    url.reserve(connection.Host().size() + objectName.size() + kRoomAroundNames);
    url += isSecure ? "https://" : "http://";
    url += urlHost(connection.Host());
    url += ':';
    url += std::to_string(port);
    if (objectName.empty() || objectName.front() != '/') {
        url += '/';
    }
    appendObjectName(url, objectName);
    return url;
}

} // namespace

HttpRequest::HttpRequest(std::shared_ptr<HttpConnection> openConnection, std::string verb,
                         const std::string& objectName, bool isSecure)
    : HttpHandle(Kind::Request), connection(std::move(openConnection))
{
    MakeRoomForNotifications();
    InheritCallback(*connection);
    message.verb = verb.empty() ? "GET" : std::move(verb);
    message.url = buildUrl(*connection, objectName, isSecure);
}

DWORD HttpRequest::SetConnectTimeout(DWORD milliseconds)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (isSubmitted) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    message.connectTimeout = milliseconds;
    return 0;
}

DWORD HttpRequest::SetFollowsRedirects(bool followsRedirects)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (isSubmitted) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    message.followsRedirects = followsRedirects;
    return 0;
}

DWORD HttpRequest::Send(std::vector<std::string> headerLines, const void* body, DWORD bodyLength, DWORD_PTR newContext)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (isSubmitted) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    message.headerLines = std::move(headerLines);
    message.body = static_cast<const char*>(body);
    message.bodyLength = bodyLength;
    context = newContext;
    const DWORD error = HttpEngine::Instance().Submit(std::static_pointer_cast<HttpRequest>(shared_from_this()));
    isSubmitted = error == 0;
    state = isSubmitted ? State::Sending : State::Opened;
    return error;
}

DWORD HttpRequest::ReceiveResponse()
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (state != State::Sent) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    state = State::Receiving;
    CompleteReceive();
    return 0;
}

DWORD HttpRequest::RequireReceived() const
{
    return state == State::Received && pending == Pending::Nothing ? 0 : ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
}

DWORD HttpRequest::QueryDataAvailable()
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (const DWORD error = RequireReceived(); error != 0) {
        return error;
    }
    pending = Pending::QueryData;
    CompletePending();
    return 0;
}

DWORD HttpRequest::Read(void* buffer, DWORD size)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (const DWORD error = RequireReceived(); error != 0) {
        return error;
    }
    pending = Pending::ReadData;
    readBuffer = buffer;
    readSize = size;
    CompletePending();
    return 0;
}

DWORD HttpRequest::QueryStatus(DWORD& status)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (state != State::Received) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    status = statusCode;
    return 0;
}

DWORD HttpRequest::QueryRawHeaders(WCHAR* buffer, DWORD& size)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (state != State::Received) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    const auto needed = static_cast<DWORD>((headerBlock.size() + 1) * sizeof(WCHAR));
    if (buffer == nullptr || size < needed) {
        size = needed;
        return ERROR_INSUFFICIENT_BUFFER;
    }
    // Header bytes are not text of a known encoding: each becomes the code unit of its value.
    WCHAR* const end = std::transform(headerBlock.begin(), headerBlock.end(), buffer,
                                      [](char byte) { return static_cast<WCHAR>(static_cast<unsigned char>(byte)); });
    *end = u'\0';
    size = needed - static_cast<DWORD>(sizeof(WCHAR));
    return 0;
}

void HttpRequest::Close()
{
    const std::lock_guard<std::mutex> lock(mutex);
    isClosing = true;
    if (isSubmitted && !isFinished) {
        HttpEngine::Instance().Abort(std::static_pointer_cast<HttpRequest>(shared_from_this()));
        return;
    }
    NotifyClosing(context);
}

void HttpRequest::BeforeCreated()
{
    connection->DeliverCreated();
}

void HttpRequest::OnClosed()
{
    connection->OnChildClosed();
}

void HttpRequest::OnSent()
{
    const std::lock_guard<std::mutex> lock(mutex);
    CompleteSend();
}

void HttpRequest::OnHeaders(DWORD status, std::string block)
{
    const std::lock_guard<std::mutex> lock(mutex);
    hasHeaders = true;
    statusCode = status;
    headerBlock = std::move(block);
    CompleteReceive();
}

bool HttpRequest::OnData(const char* data, std::size_t size)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (!arriving.empty() && arriving.size() + size > kArrivingLimit) {
        isPaused = true;
        return false;
    }
    arriving.insert(arriving.end(), data, data + size);
    received += size;
    isStreaming = received > kStreamedBody;
    CompletePending();
    return true;
}

void HttpRequest::OnFinished(DWORD error)
{
    const std::lock_guard<std::mutex> lock(mutex);
    isFinished = true;
    isStreaming = false;
    finishError = error == 0 && !hasHeaders ? ERROR_WINHTTP_INVALID_SERVER_RESPONSE : error;
    if (state == State::Sending && finishError != 0 && !hasHeaders) {
        state = State::Opened;
        Notify({WINHTTP_CALLBACK_STATUS_REQUEST_ERROR, context, finishError, API_SEND_REQUEST});
    }
    CompleteSend();
    CompleteReceive();
    CompletePending();
    if (isClosing) {
        NotifyClosing(context);
    }
}

void HttpRequest::CompleteSend()
{
    if (state == State::Sending) {
        state = State::Sent;
        Notify({WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE, context});
    }
}

void HttpRequest::CompleteReceive()
{
    if (state != State::Receiving) {
        return;
    }
    if (hasHeaders) {
        state = State::Received;
        Notify({WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE, context});
    } else if (isFinished) {
        state = State::Sent;
        Notify({WINHTTP_CALLBACK_STATUS_REQUEST_ERROR, context, finishError, API_RECEIVE_RESPONSE});
    }
}

void HttpRequest::TakeArrived()
{
    if (readOffset < reading.size()) {
        return;
    }
    reading.clear();
    readOffset = 0;
    reading.swap(arriving);
    if (isPaused) {
        isPaused = false;
        HttpEngine::Instance().Resume(std::static_pointer_cast<HttpRequest>(shared_from_this()));
    }
}

void HttpRequest::CompletePending()
{
    if (pending == Pending::Nothing || (!HasData() && !isFinished)) {
        return;
    }
    TakeArrived();
    const std::size_t available = reading.size() - readOffset;
    if (available == 0 && finishError != 0) {
        FailPending(finishError);
        return;
    }
    const Pending completed = pending;
    pending = Pending::Nothing;
    if (completed == Pending::QueryData) {
        Notify({WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE, context, static_cast<DWORD>(available)});
        return;
    }
    const std::size_t count = std::min<std::size_t>(available, readSize);
    std::copy_n(reading.begin() + static_cast<std::ptrdiff_t>(readOffset), count, static_cast<char*>(readBuffer));
    readOffset += count;
    Notify({WINHTTP_CALLBACK_STATUS_READ_COMPLETE, context, 0, 0, readBuffer, static_cast<DWORD>(count)});
}

void HttpRequest::FailPending(DWORD error)
{
    const DWORD_PTR call = pending == Pending::QueryData ? API_QUERY_DATA_AVAILABLE : API_READ_DATA;
    pending = Pending::Nothing;
    Notify({WINHTTP_CALLBACK_STATUS_REQUEST_ERROR, context, error, call});
}

} // namespace LumPlatform
