#include "platform/posix/winhttp/HttpTransfer.h"

#include "platform/posix/winhttp/CurlErrors.h"
#include "platform/posix/winhttp/RedirectPolicy.h"

#include <cstdio>
#include <new>
#include <optional>

namespace LumPlatform {

namespace {

/// Before version 8.0 curl keeps a pointer to the last header of the response before, which is gone: a server that
/// begins its headers with a folded line has curl read and write there.
bool curlKeepsLastHeader()
{
    constexpr unsigned int kFirstGoodVersion = 0x080000;
    static const bool keeps = curl_version_info(CURLVERSION_NOW)->version_num < kFirstGoodVersion;
    return keeps;
}

/// Ends the transfer whose progress it is asked to show.
int endTransfer(void* /*self*/, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    return 1;
}

} // namespace

HttpTransfer::HttpTransfer(SocketWatch& socketWatch, const Time& driverTime) : sockets(socketWatch), now(driverTime)
{
    SetCallbacks();
}

void HttpTransfer::SetCallbacks()
{
    CURL* const handle = Easy();
    curl_easy_setopt(handle, CURLOPT_PRIVATE, this);
    curl_easy_setopt(handle, CURLOPT_PREREQFUNCTION, OnConnected);
    curl_easy_setopt(handle, CURLOPT_PREREQDATA, this);
    curl_easy_setopt(handle, CURLOPT_READFUNCTION, OnReadBody);
    curl_easy_setopt(handle, CURLOPT_READDATA, this);
    curl_easy_setopt(handle, CURLOPT_SEEKFUNCTION, OnSeekBody);
    curl_easy_setopt(handle, CURLOPT_SEEKDATA, this);
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, OnHeaderLine);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, OnBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, OnOpenSocket);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
    // A connection outlives the transfer that opened it.
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETFUNCTION, OnCloseSocket);
    curl_easy_setopt(handle, CURLOPT_CLOSESOCKETDATA, &sockets);
    curl_easy_setopt(handle, CURLOPT_DEBUGFUNCTION, OnTrace);
    curl_easy_setopt(handle, CURLOPT_DEBUGDATA, this);
}

void HttpTransfer::Begin(std::shared_ptr<HttpRequest> newRequest, std::size_t newPlace)
{
    place = newPlace;
    request = std::move(newRequest);
    const HttpMessage& message = request->Message();
    Move(TransferEvent::Begun);
    step.url = message.url;
    step.verb = message.verb;
    step.sendsBody = step.verb == "POST" || step.verb == "PUT" || step.verb == "PATCH" || message.bodyLength > 0;
    step.redirects = 0;
    step.isAtFirstOrigin = true;
    StartAttempt();
    easy.SetRequest(message);
    easy.SetStep(message, step);
}

void HttpTransfer::StartAttempt()
{
    socket = CURL_SOCKET_BAD;
    bodyOffset = 0;
    callbackError = 0;
    head.Clear();
    clock.Stop();
}

HttpTransfer::Conclusion HttpTransfer::Conclude(CURLcode result) const
{
    if (result == CURLE_OK && phase == TransferPhase::SkippingBody) {
        return Conclusion::FollowRedirect;
    }
    // The callback that looks at the connection is the only one that ends a transfer without an error.
    const bool isConnectionRefused = result == CURLE_ABORTED_BY_CALLBACK && callbackError == 0;
    return isConnectionRefused && phase == TransferPhase::Connecting ? Conclusion::BeginAgain : Conclusion::Finish;
}

DWORD HttpTransfer::FollowRedirect()
{
    const HttpMessage& message = request->Message();
    std::string target = redirectTarget(step.url, head.Location());
    if (step.redirects == kMostRedirects || target.empty()) {
        return ERROR_WINHTTP_REDIRECT_FAILED;
    }
    if (becomesGet(head.Status(), step.verb)) {
        step.verb = "GET";
        step.sendsBody = false;
    }
    ++step.redirects;
    step.url = std::move(target);
    step.isAtFirstOrigin = haveSameOrigin(step.url, message.url);
    Move(TransferEvent::Restarted);
    StartAttempt();
    easy.SetStep(message, step);
    return 0;
}

DWORD HttpTransfer::BeginAgain()
{
    Move(TransferEvent::Restarted);
    StartAttempt();
    return 0;
}

void HttpTransfer::Finish(CURLcode result)
{
    AnnounceIfSent();
    Fail(NumberOf(result));
}

/// The error number with which the transfer has ended, or 0.
DWORD HttpTransfer::NumberOf(CURLcode result) const
{
    if (result != CURLE_OK && callbackError != 0) {
        return callbackError;
    }
    if (result != CURLE_OK || phase == TransferPhase::ReceivingBody) {
        return winHttpError(result);
    }
    // The connection ended within the head, or after an interim response.
    return head.IsComplete() ? ERROR_WINHTTP_INVALID_SERVER_RESPONSE : ERROR_WINHTTP_CONNECTION_ERROR;
}

void HttpTransfer::Fail(DWORD error)
{
    Move(TransferEvent::Ended);
    // The request may be the last to hold what its owner's callback destroys: let go of it first.
    const std::shared_ptr<HttpRequest> ended = std::move(request);
    ended->OnFinished(error);
}

bool HttpTransfer::AnnounceIfSent()
{
    if (phase == TransferPhase::Sending && IsSentWhole()) {
        Move(TransferEvent::SentWhole);
        request->OnSent();
    }
    return phase != TransferPhase::Connecting && phase != TransferPhase::Sending;
}

/// Whether the whole request has gone out. A server may well answer before that.
bool HttpTransfer::IsSentWhole() const
{
    long headSize = 0;
    curl_off_t uploaded = 0;
    curl_easy_getinfo(Easy(), CURLINFO_REQUEST_SIZE, &headSize);
    curl_easy_getinfo(Easy(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
    const DWORD bodyLength = step.sendsBody ? request->Message().bodyLength : 0;
    return headSize > 0 && uploaded >= static_cast<curl_off_t>(bodyLength);
}

/// Curl asks before it sends the request on a connection, and asks again if it repeats the request on another one after
/// a kept connection has ended without an answer.
int HttpTransfer::OnConnected(void* self, char* /*remoteAddress*/, char* /*localAddress*/, int remotePort,
                              int localPort)
{
    auto& transfer = *static_cast<HttpTransfer*>(self);
    return transfer.MayUseConnection({localPort, remotePort}) ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
}

bool HttpTransfer::MayUseConnection(SocketWatch::Ports ports)
{
    const bool isUnanswered = phase == TransferPhase::Sending || phase == TransferPhase::AwaitingHead;
    if (phase != TransferPhase::Connecting && (!isUnanswered || step.verb != "GET")) {
        // The server may have acted on it.
        callbackError = ERROR_WINHTTP_CONNECTION_ERROR;
        return false;
    }
    Move(TransferEvent::Restarted);
    if (!sockets.Take(ports, socket)) {
        return false;
    }
    Move(TransferEvent::Connected);
    clock.StartExchange(now);
    return true;
}

curl_socket_t HttpTransfer::OnOpenSocket(void* self, curlsocktype /*purpose*/, curl_sockaddr* address)
{
    auto& transfer = *static_cast<HttpTransfer*>(self);
    try {
        return transfer.sockets.Open(*address);
    } catch (const std::bad_alloc&) {
        transfer.callbackError = ERROR_NOT_ENOUGH_MEMORY;
        return CURL_SOCKET_BAD;
    }
}

int HttpTransfer::OnCloseSocket(void* watch, curl_socket_t socket)
{
    return static_cast<SocketWatch*>(watch)->Close(socket);
}

std::size_t HttpTransfer::OnReadBody(char* buffer, std::size_t size, std::size_t count, void* self)
{
    return static_cast<HttpTransfer*>(self)->ReadBody(buffer, size * count);
}

std::size_t HttpTransfer::ReadBody(char* buffer, std::size_t size)
{
    const std::optional<std::size_t> count = request->ReadBody(bodyOffset, buffer, size);
    if (!count) {
        callbackError = ERROR_WINHTTP_OPERATION_CANCELLED;
        return CURL_READFUNC_ABORT;
    }
    bodyOffset += *count;
    clock.OnSent(now);
    if (phase == TransferPhase::ReceivingBody && bodyOffset == request->Message().bodyLength) {
        // The server has answered before it had the whole request.
        request->OnSent();
    }
    return *count;
}

/// Curl reads the body anew when it repeats a request.
int HttpTransfer::OnSeekBody(void* self, curl_off_t offset, int origin)
{
    auto& transfer = *static_cast<HttpTransfer*>(self);
    if (origin != SEEK_SET || offset < 0 || offset > static_cast<curl_off_t>(transfer.request->Message().bodyLength)) {
        return CURL_SEEKFUNC_FAIL;
    }
    transfer.bodyOffset = static_cast<std::size_t>(offset);
    return CURL_SEEKFUNC_OK;
}

std::size_t HttpTransfer::OnHeaderLine(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<HttpTransfer*>(self);
    try {
        transfer.callbackError = transfer.AddHeaderLine(std::string_view(data, size * count));
    } catch (const std::bad_alloc&) {
        transfer.callbackError = ERROR_NOT_ENOUGH_MEMORY;
    }
    return transfer.callbackError == 0 ? size * count : 0;
}

/// Collects the head of the response. Returns 0, or the error with which the transfer ends.
DWORD HttpTransfer::AddHeaderLine(std::string_view line)
{
    if (phase == TransferPhase::ReceivingBody || phase == TransferPhase::SkippingBody) {
        // A trailer.
        return 0;
    }
    TraceNextLine(head.IsAtStart());
    switch (head.AddLine(line)) {
    case ResponseHead::Verdict::Invalid:
        return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    case ResponseHead::Verdict::Final:
        return TakeHead();
    default:
        clock.OnReceived(now);
        return 0;
    }
}

DWORD HttpTransfer::TakeHead()
{
    if (head.SetsCookies()) {
        easy.OnCookies();
    }
    clock.StartBody(now);
    AnnounceIfSent();
    if (IsFollowedRedirect()) {
        Move(TransferEvent::RedirectArrived);
        return 0;
    }
    Move(TransferEvent::HeadArrived);
    request->OnHeaders(static_cast<DWORD>(head.Status()), head.Block());
    return 0;
}

/// A redirect that leads nowhere is the response itself.
bool HttpTransfer::IsFollowedRedirect() const
{
    return request->Message().followsRedirects && isRedirect(head.Status()) && !head.Location().empty();
}

/// Curl shows each header before it takes it in, but only while it traces: that is switched on for the first line below
/// a status line.
void HttpTransfer::TraceNextLine(bool traces)
{
    if (isTracing != traces && curlKeepsLastHeader()) {
        isTracing = traces;
        curl_easy_setopt(Easy(), CURLOPT_VERBOSE, traces ? 1L : 0L);
    }
}

int HttpTransfer::OnTrace(CURL* /*easy*/, curl_infotype type, char* data, std::size_t size, void* self)
{
    const bool isFoldedHeader = type == CURLINFO_HEADER_IN && size > 0 && (data[0] == ' ' || data[0] == '\t');
    if (isFoldedHeader) {
        static_cast<HttpTransfer*>(self)->RefuseHead();
    }
    return 0;
}

/// Keeps curl from taking in any more of the response, and has it end the transfer.
void HttpTransfer::RefuseHead()
{
    callbackError = ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    curl_easy_pause(Easy(), CURLPAUSE_RECV);
    curl_easy_setopt(Easy(), CURLOPT_XFERINFOFUNCTION, endTransfer);
    curl_easy_setopt(Easy(), CURLOPT_NOPROGRESS, 0L);
}

std::size_t HttpTransfer::OnBody(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<HttpTransfer*>(self);
    const std::size_t length = size * count;
    transfer.clock.OnReceived(transfer.now);
    if (transfer.phase != TransferPhase::ReceivingBody) {
        // The body of a redirect that is followed.
        return length;
    }
    try {
        if (transfer.request->OnData(data, length)) {
            return length;
        }
    } catch (const std::bad_alloc&) {
        transfer.callbackError = ERROR_NOT_ENOUGH_MEMORY;
        return CURL_WRITEFUNC_ERROR;
    }
    transfer.clock.Stop();
    return CURL_WRITEFUNC_PAUSE;
}

} // namespace LumPlatform
