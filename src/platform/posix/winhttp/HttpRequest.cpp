#include "platform/posix/winhttp/HttpRequest.h"

#include "platform/posix/winhttp/HttpEngine.h"
#include "platform/posix/winhttp/RequestUrl.h"

#include <algorithm>

namespace LumPlatform {

namespace {

/// How much of a body waits for its reader before the transfer pauses.
constexpr std::size_t kArrivingLimit = std::size_t{512} << 10U;

/// A body that is longer is read by another thread than the one that receives it.
constexpr std::size_t kStreamedBody = std::size_t{256} << 10U;

} // namespace

HttpRequest::HttpRequest(std::shared_ptr<HttpConnection> openConnection, std::string verb,
                         const std::string& objectName, bool isSecure)
    : HttpHandle(Kind::Request), connection(std::move(openConnection))
{
    ReserveNotifications();
    InheritCallback(*connection);
    message.verb = verb.empty() ? "GET" : std::move(verb);
    message.url = makeRequestUrl(connection->Host(), connection->Port(), objectName, isSecure);
}

DWORD HttpRequest::SetConnectTimeout(DWORD milliseconds)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (transferState != TransferState::NotStarted) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    message.connectTimeout = milliseconds;
    return 0;
}

DWORD HttpRequest::SetFollowsRedirects(bool followsRedirects)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (transferState != TransferState::NotStarted) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    message.followsRedirects = followsRedirects;
    return 0;
}

DWORD HttpRequest::Send(std::vector<std::string> headerLines, const void* body, DWORD bodyLength, DWORD_PTR newContext)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (transferState != TransferState::NotStarted) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    message.headerLines = std::move(headerLines);
    message.body = static_cast<const char*>(body);
    message.bodyLength = bodyLength;
    context = newContext;
    const DWORD error = HttpEngine::Instance().Submit(std::static_pointer_cast<HttpRequest>(shared_from_this()));
    if (error == 0) {
        ownerState = OwnerState::Sending;
        transferState = TransferState::UnderWay;
    }
    return error;
}

DWORD HttpRequest::ReceiveResponse()
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (ownerState != OwnerState::Sent) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    ownerState = OwnerState::Receiving;
    CompleteReceive();
    return 0;
}

DWORD HttpRequest::QueryDataAvailable()
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (ownerState != OwnerState::Received) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    ownerState = OwnerState::QueryingData;
    CompletePending();
    return 0;
}

DWORD HttpRequest::Read(void* buffer, DWORD size)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (ownerState != OwnerState::Received) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    ownerState = OwnerState::ReadingData;
    readBuffer = buffer;
    readSize = size;
    CompletePending();
    return 0;
}

DWORD HttpRequest::QueryStatus(DWORD& status)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (ownerState < OwnerState::Received) {
        return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
    }
    status = statusCode;
    return 0;
}

DWORD HttpRequest::QueryRawHeaders(WCHAR* buffer, DWORD& size)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (ownerState < OwnerState::Received) {
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
    if (transferState == TransferState::NotStarted || HasEnded()) {
        NotifyClosing(context);
        return;
    }
    transferState = TransferState::Aborting;
    HttpEngine::Instance().Abort(std::static_pointer_cast<HttpRequest>(shared_from_this()));
}

void HttpRequest::BeforeCreated()
{
    connection->DeliverCreated();
}

void HttpRequest::OnClosed()
{
    connection->OnChildClosed();
}

std::optional<std::size_t> HttpRequest::ReadBody(std::size_t offset, char* buffer, std::size_t size)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (transferState == TransferState::Aborting) {
        return std::nullopt;
    }
    const std::size_t count = std::min(size, message.bodyLength - offset);
    std::copy_n(message.body + offset, count, buffer);
    return count;
}

void HttpRequest::OnSent()
{
    const std::lock_guard<std::mutex> lock(mutex);
    CompleteSend();
}

void HttpRequest::OnHeaders(DWORD status, std::string block)
{
    const std::lock_guard<std::mutex> lock(mutex);
    statusCode = status;
    headerBlock = std::move(block);
    CompleteReceive();
}

bool HttpRequest::OnData(const char* data, std::size_t size)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (transferState == TransferState::Aborting) {
        // Nobody reads it.
        return true;
    }
    if (!arriving.empty() && arriving.size() + size > kArrivingLimit) {
        transferState = TransferState::Paused;
        return false;
    }
    arriving.insert(arriving.end(), data, data + size);
    received += size;
    transferState = received > kStreamedBody ? TransferState::Streaming : TransferState::UnderWay;
    CompletePending();
    return true;
}

void HttpRequest::OnFinished(DWORD error)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const bool isClosing = transferState == TransferState::Aborting;
    transferState = TransferState::Ended;
    finishError = error == 0 && !HasHead() ? ERROR_WINHTTP_INVALID_SERVER_RESPONSE : error;
    if (ownerState == OwnerState::Sending && finishError != 0 && !HasHead()) {
        ownerState = OwnerState::Opened;
        Notify({WINHTTP_CALLBACK_STATUS_REQUEST_ERROR, context, finishError, API_SEND_REQUEST});
    }
    CompleteSend();
    CompleteReceive();
    CompletePending();
    if (isClosing) {
        NotifyClosing(context);
    }
}

bool HttpRequest::HasFinished()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return HasEnded();
}

void HttpRequest::CompleteSend()
{
    if (ownerState == OwnerState::Sending) {
        ownerState = OwnerState::Sent;
        Notify({WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE, context});
    }
}

void HttpRequest::CompleteReceive()
{
    if (ownerState != OwnerState::Receiving) {
        return;
    }
    if (HasHead()) {
        ownerState = OwnerState::Received;
        Notify({WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE, context});
    } else if (HasEnded()) {
        ownerState = OwnerState::Sent;
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
    if (transferState == TransferState::Paused) {
        transferState = TransferState::Streaming;
        HttpEngine::Instance().Resume(std::static_pointer_cast<HttpRequest>(shared_from_this()));
    }
}

void HttpRequest::CompletePending()
{
    if (!AwaitsData() || (!HasData() && !HasEnded())) {
        return;
    }
    TakeArrived();
    const std::size_t available = reading.size() - readOffset;
    if (available == 0 && finishError != 0) {
        FailPending(finishError);
        return;
    }
    const OwnerState completed = ownerState;
    ownerState = OwnerState::Received;
    if (completed == OwnerState::QueryingData) {
        Notify({WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE, context, static_cast<DWORD>(available)});
        if (available == 0) {
            Release();
        }
        return;
    }
    const std::size_t count = std::min<std::size_t>(available, readSize);
    std::copy_n(reading.begin() + static_cast<std::ptrdiff_t>(readOffset), count, static_cast<char*>(readBuffer));
    readOffset += count;
    Notify({WINHTTP_CALLBACK_STATUS_READ_COMPLETE, context, 0, 0, readBuffer, static_cast<DWORD>(count)});
}

/// Gives the buffers back: the owner has read the whole body, but may keep the handle open for long.
void HttpRequest::Release()
{
    std::vector<char>().swap(arriving);
    std::vector<char>().swap(reading);
    readOffset = 0;
}

void HttpRequest::FailPending(DWORD error)
{
    const DWORD_PTR call = ownerState == OwnerState::QueryingData ? API_QUERY_DATA_AVAILABLE : API_READ_DATA;
    ownerState = OwnerState::Received;
    Release();
    Notify({WINHTTP_CALLBACK_STATUS_REQUEST_ERROR, context, error, call});
}

} // namespace LumPlatform
