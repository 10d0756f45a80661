#include "platform/posix/winhttp/HttpTransfer.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <new>
#include <string_view>

#include <strings.h>

namespace LumPlatform {

namespace {

/// Large enough for few reads of a large body, small enough that the allocator keeps it for the next request.
constexpr long kReceiveBuffer = 96L << 10U;
constexpr long kSendBuffer = 96L << 10U;

/// As many as the reference platform follows.
constexpr int kMostRedirects = 10;

/// A header block that is longer is none: a server must not fill the memory with it.
constexpr std::size_t kLongestHeaderBlock = std::size_t{256} << 10U;

/// Room for most header blocks.
constexpr std::size_t kUsualHeaderBlock = 512;

constexpr DWORD kNoTimeout = 0xFFFFFFFF;

/// Whether it has three digits. (Curl takes any number that follows a version of one digit.)
bool isStatus(long status)
{
    return status >= 100 && status <= 999;
}

bool isInformational(long status)
{
    return status >= 100 && status < 200;
}

constexpr long kMoved = 301;
constexpr long kFound = 302;
constexpr long kSeeOther = 303;

bool isRedirect(long status)
{
    return status == kMoved || status == kFound || status == kSeeOther || status == 307 || status == 308;
}

bool isLineEnd(std::string_view line)
{
    return line == "\r\n" || line == "\n";
}

std::string_view withoutLineEnd(std::string_view line)
{
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.remove_suffix(1);
    }
    return line;
}

char toLower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

/// Whether the line is that field; its first letter spares most of the comparisons.
bool isField(std::string_view line, std::string_view nameAndColon)
{
    return line.size() >= nameAndColon.size() && toLower(line.front()) == toLower(nameAndColon.front()) &&
           strncasecmp(line.data(), nameAndColon.data(), nameAndColon.size()) == 0;
}

bool hasField(const HttpMessage& message, std::string_view nameAndColon)
{
    return std::any_of(message.headerLines.begin(), message.headerLines.end(),
                       [&](const std::string& line) { return isField(line, nameAndColon); });
}

/// Scheme, host and port of a URL; empty if it is none.
std::string originOf(const std::string& url)
{
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parsed(curl_url(), curl_url_cleanup);
    if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) {
        return {};
    }
    std::string origin;
    for (const CURLUPart part : {CURLUPART_SCHEME, CURLUPART_HOST, CURLUPART_PORT}) {
        char* found = nullptr;
        const CURLUcode result = curl_url_get(parsed.get(), part, &found, CURLU_DEFAULT_PORT);
        const std::unique_ptr<char, decltype(&curl_free)> text(found, curl_free);
        if (result == CURLUE_OK) {
            origin += text.get();
            origin += '\n';
        }
    }
    return origin;
}

/// The header as curl takes it: a field without a value ends in ";", for with ":" it would be left out.
std::string curlHeader(const std::string& line)
{
    const std::size_t colon = line.find(':');
    const bool hasValue = line.find_first_not_of(" \t", colon + 1) != std::string::npos;
    return hasValue ? line : line.substr(0, colon) + ";";
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

/// Before version 8.0 curl keeps a pointer to the last header of the response before, which is gone: a server that
/// begins its headers with a folded line has curl read and write there.
bool curlKeepsLastHeader()
{
    constexpr unsigned int kFirstGoodVersion = 0x080000;
    static const bool keeps = curl_version_info(CURLVERSION_NOW)->version_num < kFirstGoodVersion;
    return keeps;
}

bool isStatusLine(std::string_view line)
{
    constexpr std::string_view kBeginning = "HTTP/";
    return line.substr(0, kBeginning.size()) == kBeginning;
}

bool isFolded(std::string_view line)
{
    return !line.empty() && (line.front() == ' ' || line.front() == '\t');
}

/// Ends the transfer whose progress it is asked to show.
int endTransfer(void* /*self*/, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    return 1;
}

/// Sets an option for which curl may need memory.
template <typename Value>
void setOption(CURL* easy, CURLoption option, Value value)
{
    if (curl_easy_setopt(easy, option, value) == CURLE_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
}

} // namespace

DWORD winHttpError(CURLcode result)
{
    switch (result) {
    case CURLE_OK:
        return 0;
    case CURLE_OUT_OF_MEMORY:
    case CURLE_WRITE_ERROR:
        return ERROR_NOT_ENOUGH_MEMORY;
    case CURLE_URL_MALFORMAT:
        // All of the URL but the host is escaped: it is the host that cannot be one.
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return ERROR_WINHTTP_NAME_NOT_RESOLVED;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
        return ERROR_WINHTTP_CANNOT_CONNECT;
    case CURLE_OPERATION_TIMEDOUT:
        return ERROR_WINHTTP_TIMEOUT;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        return ERROR_WINHTTP_CONNECTION_ERROR;
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_BAD_FUNCTION_ARGUMENT:
        // The last is what curl's own list of headers says of a line that it cannot take in.
        return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_ISSUER_ERROR:
        return ERROR_WINHTTP_SECURE_FAILURE;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_USE_SSL_FAILED:
        return ERROR_WINHTTP_SECURE_CHANNEL_ERROR;
    default:
        return ERROR_WINHTTP_INTERNAL_ERROR;
    }
}

HttpTransfer::HttpTransfer(const SocketCalls& calls) : socketCalls(calls), easy(NewHandle()) {}

/// A handle with all that does not change from request to request.
HttpTransfer::EasyHandle HttpTransfer::NewHandle()
{
    EasyHandle handle(curl_easy_init(), curl_easy_cleanup);
    if (!handle) {
        throw std::bad_alloc();
    }
    CURL* const made = handle.get();
    curl_easy_setopt(made, CURLOPT_PRIVATE, this);
    curl_easy_setopt(made, CURLOPT_WRITEFUNCTION, OnBody);
    curl_easy_setopt(made, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(made, CURLOPT_HEADERFUNCTION, OnHeaderLine);
    curl_easy_setopt(made, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(made, CURLOPT_OPENSOCKETFUNCTION, OnOpenSocket);
    curl_easy_setopt(made, CURLOPT_OPENSOCKETDATA, this);
    curl_easy_setopt(made, CURLOPT_CLOSESOCKETFUNCTION, socketCalls.close);
    curl_easy_setopt(made, CURLOPT_CLOSESOCKETDATA, socketCalls.self);
    curl_easy_setopt(made, CURLOPT_NOSIGNAL, 1L);
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
    // Cookies live as long as the request, for its redirects.
    setOption(made, CURLOPT_COOKIEFILE, "");
    curl_easy_setopt(made, CURLOPT_DEBUGFUNCTION, OnTrace);
    curl_easy_setopt(made, CURLOPT_DEBUGDATA, this);
    return handle;
}

HttpTransfer::~HttpTransfer()
{
    // It refers to the headers.
    easy.reset();
    curl_slist_free_all(headers);
}

void HttpTransfer::Begin(std::shared_ptr<HttpRequest> newRequest, std::size_t newPlace)
{
    place = newPlace;
    request = std::move(newRequest);
    const HttpMessage& message = request->Message();
    verb = message.verb;
    sendsBody = verb == "POST" || verb == "PUT" || verb == "PATCH" || message.bodyLength > 0;
    redirects = 0;
    origin.clear();
    areHeadersDelivered = false;
    isSentAnnounced = false;
    callbackError = 0;
    StartHeaderBlock();
    setOption(Easy(), CURLOPT_URL, message.url.c_str());
    if (setConnectTimeout != message.connectTimeout) {
        setConnectTimeout = message.connectTimeout;
        curl_easy_setopt(Easy(), CURLOPT_CONNECTTIMEOUT_MS, connectTimeout(setConnectTimeout));
    }
    if (hasCookies) {
        hasCookies = false;
        setOption(Easy(), CURLOPT_COOKIELIST, "ALL");
    }
    SetMethod();
    SetHeaders();
}

void HttpTransfer::SetMethod()
{
    const HttpMessage& message = request->Message();
    const bool isPlainGet = !sendsBody && verb == "GET";
    if (isPlainGet && wasPlainGet) {
        return;
    }
    wasPlainGet = isPlainGet;
    if (sendsBody) {
        curl_easy_setopt(Easy(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(message.bodyLength));
        curl_easy_setopt(Easy(), CURLOPT_POSTFIELDS, message.body == nullptr ? "" : message.body);
    } else {
        curl_easy_setopt(Easy(), CURLOPT_POSTFIELDS, nullptr);
        curl_easy_setopt(Easy(), CURLOPT_HTTPGET, 1L);
    }
    const bool isImplied = verb == (sendsBody ? "POST" : "GET");
    setOption(Easy(), CURLOPT_CUSTOMREQUEST, isImplied ? nullptr : verb.c_str());
}

/// What the caller gave goes out as it is, and nothing is added but what bypasses the caches: a field with a name only
/// tells curl to leave its own out.
void HttpTransfer::SetHeaders()
{
    const HttpMessage& message = request->Message();
    // Most requests have no headers of their own and no body: their list is made once.
    const bool isUsualList = message.headerLines.empty() && !sendsBody;
    if (isUsualList && hasUsualHeaders) {
        return;
    }
    hasUsualHeaders = isUsualList;
    curl_slist_free_all(headers);
    headers = nullptr;
    for (const std::string& line : message.headerLines) {
        if (MayBeSent(line)) {
            AddHeader(curlHeader(line));
        }
    }
    AddUnlessGiven("Accept:");
    AddUnlessGiven("Pragma: no-cache");
    AddUnlessGiven("Cache-Control: no-cache");
    if (sendsBody) {
        AddUnlessGiven("Expect:");
        AddUnlessGiven("Content-Type:");
    }
    curl_easy_setopt(Easy(), CURLOPT_HTTPHEADER, headers);
}

void HttpTransfer::AddUnlessGiven(std::string_view field)
{
    if (!hasField(request->Message(), field.substr(0, field.find(':') + 1))) {
        AddHeader(std::string(field));
    }
}

/// A redirect to another server does not get what was meant for the first one only, and one that lost the body does not
/// get its description.
bool HttpTransfer::MayBeSent(const std::string& headerLine) const
{
    if (redirects == 0) {
        return true;
    }
    const bool isForFirstServer = isField(headerLine, "Authorization:") || isField(headerLine, "Cookie:") ||
                                  isField(headerLine, "Host:") || isField(headerLine, "Proxy-Authorization:");
    if (isForFirstServer) {
        return origin == originOf(request->Message().url);
    }
    return sendsBody || !isField(headerLine, "Content-");
}

void HttpTransfer::AddHeader(const std::string& line)
{
    curl_slist* const longer = curl_slist_append(headers, line.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    headers = longer;
}

bool HttpTransfer::EndedInRedirect(CURLcode result) const
{
    return result == CURLE_OK && IsRedirecting() && redirects < kMostRedirects && RedirectTarget() != nullptr;
}

/// The absolute URL that the redirect leads to, or null.
const char* HttpTransfer::RedirectTarget() const
{
    char* target = nullptr;
    curl_easy_getinfo(Easy(), CURLINFO_REDIRECT_URL, &target);
    return target;
}

void HttpTransfer::GoOnToRedirect()
{
    ++redirects;
    const std::string url = RedirectTarget();
    origin = originOf(url);
    const long status = Status();
    const bool becomesGet = status == kSeeOther || (verb == "POST" && (status == kMoved || status == kFound));
    if (becomesGet) {
        verb = "GET";
        sendsBody = false;
    }
    setOption(Easy(), CURLOPT_URL, url.c_str());
    SetMethod();
    SetHeaders();
    StartHeaderBlock();
}

void HttpTransfer::Finish(CURLcode result)
{
    AnnounceIfSent();
    if (result != CURLE_OK && callbackError != 0) {
        Fail(callbackError);
    } else if (result != CURLE_OK || areHeadersDelivered) {
        Fail(winHttpError(result));
    } else if (!isHeaderBlockComplete) {
        Fail(ERROR_WINHTTP_CONNECTION_ERROR);
    } else {
        // The last redirect that is followed, or an interim response that none followed.
        Fail(IsRedirecting() ? ERROR_WINHTTP_REDIRECT_FAILED : ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
    }
}

void HttpTransfer::Fail(DWORD error)
{
    // The request may be the last to hold what its owner's callback destroys: let go of it first.
    const std::shared_ptr<HttpRequest> ended = std::move(request);
    ended->OnFinished(error);
}

bool HttpTransfer::AnnounceIfSent()
{
    if (!isSentAnnounced && HasGoneOut()) {
        isSentAnnounced = true;
        request->OnSent();
    }
    return isSentAnnounced;
}

/// Whether the whole request has gone out. A server may well answer before that.
bool HttpTransfer::HasGoneOut() const
{
    long requestSize = 0;
    curl_off_t uploaded = 0;
    curl_easy_getinfo(Easy(), CURLINFO_REQUEST_SIZE, &requestSize);
    curl_easy_getinfo(Easy(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
    const bool isComplete = requestSize > 0 && uploaded >= static_cast<curl_off_t>(request->Message().bodyLength);
    return isComplete || redirects > 0;
}

curl_socket_t HttpTransfer::OnOpenSocket(void* self, curlsocktype /*purpose*/, curl_sockaddr* address)
{
    auto& transfer = *static_cast<HttpTransfer*>(self);
    try {
        return transfer.socketCalls.open(transfer.socketCalls.self, *address);
    } catch (const std::bad_alloc&) {
        transfer.callbackError = ERROR_NOT_ENOUGH_MEMORY;
        return CURL_SOCKET_BAD;
    }
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
    if (type == CURLINFO_HEADER_IN && isFolded(std::string_view(data, size))) {
        static_cast<HttpTransfer*>(self)->RefuseHeaders();
    }
    return 0;
}

/// Keeps curl from taking in any more of the response, and has it end the transfer.
void HttpTransfer::RefuseHeaders()
{
    callbackError = ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    curl_easy_pause(Easy(), CURLPAUSE_RECV);
    curl_easy_setopt(Easy(), CURLOPT_XFERINFOFUNCTION, endTransfer);
    curl_easy_setopt(Easy(), CURLOPT_NOPROGRESS, 0L);
}

/// Collects the header block of the last response: those of interim responses and of followed redirects are dropped.
/// Returns 0, or the error with which the transfer ends.
DWORD HttpTransfer::AddHeaderLine(std::string_view line)
{
    if (areHeadersDelivered || IsRedirecting()) {
        // A trailer of the response's body, or of that of a redirect.
        return 0;
    }
    const bool isFirstLine = headerBlock.empty() || isHeaderBlockComplete;
    TraceNextLine(isFirstLine);
    if (isFirstLine) {
        return BeginHeaderBlock(line);
    }
    return isLineEnd(line) ? EndHeaderBlock() : AddField(line);
}

/// Curl itself takes other spellings of "HTTP/" for the beginning of a status line, and then makes up the status.
DWORD HttpTransfer::BeginHeaderBlock(std::string_view line)
{
    StartHeaderBlock();
    return isStatusLine(line) ? AddLine(line) : ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
}

DWORD HttpTransfer::AddField(std::string_view line)
{
    hasLocation = hasLocation || isField(line, "Location:");
    hasCookies = hasCookies || isField(line, "Set-Cookie:");
    if (isFolded(line) && !HasHeader()) {
        return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    }
    if (isFolded(line)) {
        headerBlock.resize(headerBlock.size() - 2);
        headerBlock += ' ';
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    }
    return AddLine(line);
}

DWORD HttpTransfer::AddLine(std::string_view line)
{
    if (headerBlock.size() + line.size() > kLongestHeaderBlock) {
        return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    }
    headerBlock += withoutLineEnd(line);
    headerBlock += "\r\n";
    return 0;
}

/// Whether the block has more than the status line.
bool HttpTransfer::HasHeader() const
{
    return headerBlock.find('\n') + 1 < headerBlock.size();
}

void HttpTransfer::StartHeaderBlock()
{
    headerBlock.clear();
    headerBlock.reserve(kUsualHeaderBlock);
    hasLocation = false;
    isHeaderBlockComplete = false;
}

DWORD HttpTransfer::EndHeaderBlock()
{
    headerBlock += "\r\n";
    isHeaderBlockComplete = true;
    if (!isStatus(Status())) {
        return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
    }
    if (isInformational(Status()) || IsRedirecting()) {
        return 0;
    }
    areHeadersDelivered = true;
    AnnounceIfSent();
    request->OnHeaders(static_cast<DWORD>(Status()), headerBlock);
    return 0;
}

long HttpTransfer::Status() const
{
    long status = 0;
    curl_easy_getinfo(Easy(), CURLINFO_RESPONSE_CODE, &status);
    return status;
}

/// Whether the response that is coming is a redirect that is followed.
bool HttpTransfer::IsRedirecting() const
{
    return isHeaderBlockComplete && hasLocation && request->Message().followsRedirects && isRedirect(Status());
}

std::size_t HttpTransfer::OnBody(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<HttpTransfer*>(self);
    const std::size_t length = size * count;
    try {
        if (!transfer.areHeadersDelivered) {
            // The body of a redirect that is followed.
            return length;
        }
        return transfer.request->OnData(data, length) ? length : CURL_WRITEFUNC_PAUSE;
    } catch (const std::bad_alloc&) {
        transfer.callbackError = ERROR_NOT_ENOUGH_MEMORY;
        return CURL_WRITEFUNC_ERROR;
    }
}

} // namespace LumPlatform
