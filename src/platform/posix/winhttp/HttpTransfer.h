#pragma once

#include "platform/posix/winhttp/EasyHandle.h"
#include "platform/posix/winhttp/HttpRequest.h"
#include "platform/posix/winhttp/ResponseHead.h"
#include "platform/posix/winhttp/SocketWatch.h"
#include "platform/posix/winhttp/TransferClock.h"
#include "platform/posix/winhttp/TransferPhase.h"

#include <memory>
#include <string_view>

namespace LumPlatform {

/// Carries one request after the other on one curl easy handle: sends what the request asks for, follows its redirects,
/// and tells it what arrives. Only the thread that drives the transfers touches it.
///
/// How far it has come is its phase; see TransferPhase. What takes memory throws std::bad_alloc; the transfer is then
/// only good for Fail.
class HttpTransfer {
public:
    using Time = TransferClock::Time;

    /// What is to be done with a transfer that curl has ended.
    enum class Conclusion {
        /// Tell its request.
        Finish,
        /// Go on where the redirect leads.
        FollowRedirect,
        /// Begin again: the kept connection was not to be used, and nothing was sent on it.
        BeginAgain,
    };

    /// The time is the driver's, which it reads once for all that is ready at the same time.
    HttpTransfer(SocketWatch& socketWatch, const Time& driverTime);
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    CURL* Easy() const { return easy.Get(); }
    HttpRequest& Request() const { return *request; }

    /// Prepares the transfer for the request, which it then holds.
    void Begin(std::shared_ptr<HttpRequest> newRequest, std::size_t newPlace);

    /// Where the driver keeps the transfer.
    std::size_t Place() const { return place; }
    void SetPlace(std::size_t newPlace) { place = newPlace; }

    /// The socket that curl uses for the transfer.
    curl_socket_t Socket() const { return socket; }
    void SetSocket(curl_socket_t newSocket) { socket = newSocket; }

    Conclusion Conclude(CURLcode result) const;

    /// Each prepares the transfer, which must not be driven at that moment, for its next attempt. Returns 0, or the
    /// error with which the transfer fails.
    DWORD FollowRedirect();
    DWORD BeginAgain();

    /// Tells the request how the transfer ended and lets go of it.
    void Finish(CURLcode result);
    void Fail(DWORD error);

    /// Announces that the request has gone out, once it has; false while that is still to come.
    bool AnnounceIfSent();

    /// The reader goes on.
    void OnResumed() { clock.StartBody(now); }

    /// When the server has kept the transfer waiting for too long.
    Time Due() const { return clock.Due(); }

private:
    static int OnConnected(void* self, char* remoteAddress, char* localAddress, int remotePort, int localPort);
    static curl_socket_t OnOpenSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
    static int OnCloseSocket(void* watch, curl_socket_t socket);
    static std::size_t OnReadBody(char* buffer, std::size_t size, std::size_t count, void* self);
    static int OnSeekBody(void* self, curl_off_t offset, int origin);
    static std::size_t OnHeaderLine(char* data, std::size_t size, std::size_t count, void* self);
    static int OnTrace(CURL* easy, curl_infotype type, char* data, std::size_t size, void* self);
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self);

    void SetCallbacks();
    void Move(TransferEvent event) { phase = phaseAfter(phase, event); }
    void StartAttempt();
    bool MayUseConnection(SocketWatch::Ports ports);
    std::size_t ReadBody(char* buffer, std::size_t size);
    DWORD AddHeaderLine(std::string_view line);
    DWORD TakeHead();
    bool IsFollowedRedirect() const;
    bool IsSentWhole() const;
    void TraceNextLine(bool traces);
    void RefuseHead();
    DWORD NumberOf(CURLcode result) const;

    SocketWatch& sockets;
    const Time& now;
    EasyHandle easy;
    std::size_t place = 0;
    curl_socket_t socket = CURL_SOCKET_BAD;
    std::shared_ptr<HttpRequest> request;

    TransferPhase phase = TransferPhase::Idle;
    TransferStep step;
    TransferClock clock;
    /// How much of the request's body was handed to curl.
    std::size_t bodyOffset = 0;
    ResponseHead head;
    /// Whether curl shows the next header before it takes it in.
    bool isTracing = false;
    /// Why a callback has ended the transfer; curl only knows that it did.
    DWORD callbackError = 0;
};

} // namespace LumPlatform
