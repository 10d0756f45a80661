#pragma once

#include "platform/posix/winhttp/HttpRequest.h"

#include <curl/curl.h>

#include <memory>
#include <string>
#include <string_view>

namespace LumPlatform {

/// One curl easy handle and what it needs to carry one request after the other. Only the thread that drives the
/// transfers touches it.
class HttpTransfer {
public:
    HttpTransfer();
    ~HttpTransfer();
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    CURL* Easy() const { return easy; }

    /// Prepares the transfer for the request, which it then holds.
    void Begin(std::shared_ptr<HttpRequest> newRequest, std::size_t newPlace);

    /// Where the driver keeps the transfer.
    std::size_t Place() const { return place; }
    void SetPlace(std::size_t newPlace) { place = newPlace; }

    /// Whether the transfer ended in a redirect that is to be followed; it is then prepared to go on there.
    bool GoesOnToRedirect(CURLcode result);

    /// Tells the request how the transfer ended and lets go of it.
    void Finish(CURLcode result);
    void Fail(DWORD error);

    /// Tells the request that it has gone out, once that is so; false before.
    bool AnnounceIfSent();

    HttpRequest& Request() const { return *request; }

private:
    static std::size_t OnHeaderLine(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self);

    void SetMethod();
    void SetHeaders();
    void AddHeader(const std::string& line);
    void AddUnlessGiven(std::string_view field);
    bool MayBeSent(const std::string& headerLine) const;
    void StartHeaderBlock();
    void AddHeaderLine(std::string_view line);
    void EndHeaderBlock();
    long Status() const;
    bool IsRedirecting() const;
    bool HasGoneOut() const;
    void DeliverHeaders();

    CURL* const easy;
    std::size_t place = 0;
    curl_slist* headers = nullptr;
    /// What curl was told last: whether the method is GET without a body, and the time-out, which is 0 as with none.
    bool wasPlainGet = false;
    DWORD setConnectTimeout = 0;
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

    bool areHeadersDelivered = false;
    bool isSentAnnounced = false;
};

/// The number under which the reference platform reports the failure.
DWORD winHttpError(CURLcode result);

} // namespace LumPlatform
