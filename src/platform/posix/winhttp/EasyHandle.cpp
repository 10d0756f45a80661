#include "platform/posix/winhttp/EasyHandle.h"

#include "platform/posix/winhttp/HeaderField.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <new>

namespace LumPlatform {

namespace {

/// Large enough for few reads of a large body, small enough that the allocator keeps it for the next request.
constexpr long kReceiveBuffer = 96L << 10U;
constexpr long kSendBuffer = 96L << 10U;

constexpr DWORD kNoTimeout = 0xFFFFFFFF;

CURL* newEasyHandle()
{
    CURL* const made = curl_easy_init();
    if (made == nullptr) {
        throw std::bad_alloc();
    }
    return made;
}

/// Sets an option for which curl may need memory.
template <typename Value>
void setOption(CURL* easy, CURLoption option, Value value)
{
    if (curl_easy_setopt(easy, option, value) == CURLE_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
}

long connectTimeout(DWORD milliseconds)
{
    constexpr auto kLongest = static_cast<DWORD>(std::numeric_limits<int>::max());
    const bool isUnbounded = milliseconds == 0 || milliseconds == kNoTimeout;
    return static_cast<long>(isUnbounded ? kLongest : std::min(milliseconds, kLongest));
}

/// Whether the environment named a proxy when the process first asked.
bool hasProxyEnvironment()
{
    static const bool hasAny = [] {
        constexpr const char* kVariables[] = {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"};
        return std::any_of(std::begin(kVariables), std::end(kVariables),
                           [](const char* variable) { return std::getenv(variable) != nullptr; });
    }();
    return hasAny;
}

bool hasField(const HttpMessage& message, std::string_view nameAndColon)
{
    return std::any_of(message.headerLines.begin(), message.headerLines.end(),
                       [&](const std::string& line) { return isField(line, nameAndColon); });
}

/// A redirect to another origin does not get what was meant for the first one only, and one that lost the body does not
/// get its description.
bool mayBeSent(const std::string& headerLine, const TransferStep& step)
{
    if (step.redirects == 0) {
        return true;
    }
    const bool isForFirstOrigin = isField(headerLine, "Authorization:") || isField(headerLine, "Cookie:") ||
                                  isField(headerLine, "Host:") || isField(headerLine, "Proxy-Authorization:");
    if (isForFirstOrigin) {
        return step.isAtFirstOrigin;
    }
    return step.sendsBody || !isField(headerLine, "Content-");
}

/// The header as curl takes it: a field without a value ends in ";", for with ":" it would be left out.
std::string curlHeader(const std::string& line)
{
    const std::size_t colon = line.find(':');
    const bool hasValue = line.find_first_not_of(" \t", colon + 1) != std::string::npos;
    return hasValue ? line : line.substr(0, colon) + ";";
}

} // namespace

EasyHandle::EasyHandle() : easy(newEasyHandle(), curl_easy_cleanup)
{
    CURL* const made = easy.get();
    curl_easy_setopt(made, CURLOPT_NOSIGNAL, 1L);
    // A name that is being looked up must hold up neither the other transfers nor the end of the process.
    curl_easy_setopt(made, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(made, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(made, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(made, CURLOPT_PATH_AS_IS, 1L);
    setOption(made, CURLOPT_BUFFERSIZE, kReceiveBuffer);
    setOption(made, CURLOPT_UPLOAD_BUFFERSIZE, kSendBuffer);
    curl_easy_setopt(made, CURLOPT_CONNECTTIMEOUT_MS, connectTimeout(setConnectTimeout));
    // A server must not lead to files or other services.
    setOption(made, CURLOPT_PROTOCOLS_STR, "http,https");
    if (!hasProxyEnvironment()) {
        // Spares curl the look-up for each request.
        setOption(made, CURLOPT_PROXY, "");
    }
    setOption(made, CURLOPT_COOKIEFILE, "");
}

EasyHandle::~EasyHandle()
{
    // It refers to the headers.
    easy.reset();
    curl_slist_free_all(headers);
}

void EasyHandle::SetRequest(const HttpMessage& message)
{
    if (setConnectTimeout != message.connectTimeout) {
        setConnectTimeout = message.connectTimeout;
        curl_easy_setopt(Get(), CURLOPT_CONNECTTIMEOUT_MS, connectTimeout(setConnectTimeout));
    }
    if (hasCookies) {
        hasCookies = false;
        setOption(Get(), CURLOPT_COOKIELIST, "ALL");
    }
}

void EasyHandle::SetStep(const HttpMessage& message, const TransferStep& step)
{
    setOption(Get(), CURLOPT_URL, step.url.c_str());
    SetMethod(message, step);
    SetHeaders(message, step);
}

void EasyHandle::SetMethod(const HttpMessage& message, const TransferStep& step)
{
    const Method method = !step.sendsBody && step.verb == "GET" ? Method::PlainGet : Method::Other;
    if (method == Method::PlainGet && setMethod == Method::PlainGet) {
        return;
    }
    setMethod = method;
    if (step.sendsBody) {
        curl_easy_setopt(Get(), CURLOPT_POST, 1L);
        curl_easy_setopt(Get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(message.bodyLength));
    } else {
        curl_easy_setopt(Get(), CURLOPT_HTTPGET, 1L);
    }
    const bool isImplied = step.verb == (step.sendsBody ? "POST" : "GET");
    setOption(Get(), CURLOPT_CUSTOMREQUEST, isImplied ? nullptr : step.verb.c_str());
}

/// What the caller gave goes out as it is, and nothing is added but what bypasses the caches: a field with a name only
/// tells curl to leave its own out.
void EasyHandle::SetHeaders(const HttpMessage& message, const TransferStep& step)
{
    // Most requests have no headers of their own and no body: their list is made once.
    const HeaderList list = message.headerLines.empty() && !step.sendsBody ? HeaderList::Usual : HeaderList::OfRequest;
    if (list == HeaderList::Usual && setHeaders == HeaderList::Usual) {
        return;
    }
    setHeaders = HeaderList::OfRequest;
    curl_slist_free_all(headers);
    headers = nullptr;
    for (const std::string& line : message.headerLines) {
        if (mayBeSent(line, step)) {
            AddHeader(curlHeader(line));
        }
    }
    AddUnlessGiven(message, "Accept:");
    AddUnlessGiven(message, "Pragma: no-cache");
    AddUnlessGiven(message, "Cache-Control: no-cache");
    if (step.sendsBody) {
        AddUnlessGiven(message, "Expect:");
        AddUnlessGiven(message, "Content-Type:");
    }
    curl_easy_setopt(Get(), CURLOPT_HTTPHEADER, headers);
    setHeaders = list;
}

void EasyHandle::AddUnlessGiven(const HttpMessage& message, std::string_view field)
{
    if (!hasField(message, field.substr(0, field.find(':') + 1))) {
        AddHeader(std::string(field));
    }
}

void EasyHandle::AddHeader(const std::string& line)
{
    curl_slist* const longer = curl_slist_append(headers, line.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    headers = longer;
}

} // namespace LumPlatform
