#pragma once

#include "platform/posix/winhttp/HttpRequest.h"

#include <curl/curl.h>

#include <memory>
#include <string>
#include <string_view>

namespace LumPlatform {

/// Opens and closes the sockets of a transfer. Opening may throw std::bad_alloc; closing is a callback of curl's.
struct SocketCalls {
    void* self;
    curl_socket_t (*open)(void* self, const curl_sockaddr& address);
    curl_closesocket_callback close;
};

/// One curl easy handle and what it needs to carry one request after the other. Only the thread that drives the
/// transfers touches it. What takes memory throws std::bad_alloc; the transfer is then only good for Fail.
class HttpTransfer {
public:
    explicit HttpTransfer(const SocketCalls& calls);
    ~HttpTransfer();
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    CURL* Easy() const { return easy.get(); }

    /// Prepares the transfer for the request, which it then holds.
    void Begin(std::shared_ptr<HttpRequest> newRequest, std::size_t newPlace);

    /// Where the driver keeps the transfer.
    std::size_t Place() const { return place; }
    void SetPlace(std::size_t newPlace) { place = newPlace; }

    /// Whether the transfer ended in a redirect that is to be followed.
    bool EndedInRedirect(CURLcode result) const;

    /// Prepares the transfer to go on where the redirect leads. It must not be driven at that moment.
    void GoOnToRedirect();

    /// Tells the request how the transfer ended and lets go of it.
    void Finish(CURLcode result);
    void Fail(DWORD error);

    /// Tells the request that it has gone out, once that is so; false before.
    bool AnnounceIfSent();

    HttpRequest& Request() const { return *request; }

private:
    static curl_socket_t OnOpenSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
    static std::size_t OnHeaderLine(char* data, std::size_t size, std::size_t count, void* self);
    static int OnTrace(CURL* easy, curl_infotype type, char* data, std::size_t size, void* self);
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self);

    using EasyHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

    EasyHandle NewHandle();
    const char* RedirectTarget() const;
    void SetMethod();
    void SetHeaders();
    void AddHeader(const std::string& line);
    void AddUnlessGiven(std::string_view field);
    bool MayBeSent(const std::string& headerLine) const;
    void StartHeaderBlock();
    void TraceNextLine(bool traces);
    void RefuseHeaders();
    DWORD AddHeaderLine(std::string_view line);
    DWORD BeginHeaderBlock(std::string_view line);
    DWORD AddField(std::string_view line);
    DWORD AddLine(std::string_view line);
    bool HasHeader() const;
    DWORD EndHeaderBlock();
    long Status() const;
    bool IsRedirecting() const;
    bool HasGoneOut() const;

    const SocketCalls socketCalls;
    /// What curl was told last: the time-out, which is 0 as with none, and whether the method is GET without a body.
    DWORD setConnectTimeout = 0;
    bool wasPlainGet = true;
    EasyHandle easy;
    std::size_t place = 0;
    curl_slist* headers = nullptr;
    /// Whether these are the headers of a request without any of its own, and without a body.
    bool hasUsualHeaders = false;
    std::shared_ptr<HttpRequest> request;

    /// What is asked for now; it changes from redirect to redirect.
    std::string verb;
    std::string origin;
    bool sendsBody = false;
    int redirects = 0;

    /// The header block of the response that is coming.
    std::string headerBlock;
    bool hasLocation = false;
    /// Whether cookies were set since they were last forgotten.
    bool hasCookies = false;
    bool isHeaderBlockComplete = false;
    /// Whether curl shows the next header before it takes it in.
    bool isTracing = false;

    bool areHeadersDelivered = false;
    bool isSentAnnounced = false;

    /// Why a callback has ended the transfer; curl only knows that it did.
    DWORD callbackError = 0;
};

/// The number under which the reference platform reports the failure.
DWORD winHttpError(CURLcode result);

} // namespace LumPlatform
