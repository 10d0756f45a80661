#pragma once

#include "platform/posix/winhttp/HttpMessage.h"

#include <curl/curl.h>

#include <memory>
#include <string>
#include <string_view>

namespace LumPlatform {

/// What a transfer asks for at the moment: the request itself, and after a redirect what that asks for instead.
struct TransferStep {
    std::string url;
    std::string verb;
    bool sendsBody = false;
    /// Of the redirects that led here, and whether they led back to the scheme, host and port of the request.
    int redirects = 0;
    bool isAtFirstOrigin = true;
};

/// A curl easy handle and the options that make curl send a step as it is. Options that stay the same from one request
/// to the next are set once. What takes memory throws std::bad_alloc; the handle then is only good to be dropped.
class EasyHandle {
public:
    EasyHandle();
    ~EasyHandle();
    EasyHandle(const EasyHandle&) = delete;
    EasyHandle& operator=(const EasyHandle&) = delete;

    CURL* Get() const { return easy.get(); }

    /// Prepares for another request than the last.
    void SetRequest(const HttpMessage& message);

    void SetStep(const HttpMessage& message, const TransferStep& step);

    /// The server has set cookies: they are for the request's redirects, and for no other request.
    void OnCookies() { hasCookies = true; }

private:
    enum class Method { PlainGet, Other };
    enum class HeaderList { Usual, OfRequest };

    void SetMethod(const HttpMessage& message, const TransferStep& step);
    void SetHeaders(const HttpMessage& message, const TransferStep& step);
    void AddHeader(const std::string& line);
    void AddUnlessGiven(const HttpMessage& message, std::string_view field);

    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy;
    curl_slist* headers = nullptr;

    // What curl was told last.
    DWORD setConnectTimeout = 0;
    Method setMethod = Method::PlainGet;
    HeaderList setHeaders = HeaderList::OfRequest;
    bool hasCookies = false;
};

} // namespace LumPlatform
