#include "platform/posix/winhttp/HttpEngine.h"
#include "platform/posix/winhttp/HttpHandleTable.h"
#include "platform/posix/winhttp/HttpRequest.h"
#include "platform/posix/winhttp/HttpSession.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

/// The WinHTTP calls: each checks what it was given against the closed list and hands over to the object behind the
/// handle.

namespace {

using namespace LumPlatform;

/// Sets the last error and gives the result of a failing call.
std::nullptr_t failHandle(DWORD error)
{
    SetLastError(error);
    return nullptr;
}

/// Sets the last error if there is one and gives the result of the call.
BOOL result(DWORD error)
{
    if (error == 0) {
        return TRUE;
    }
    SetLastError(error);
    return FALSE;
}

/// The text as UTF-8; false for text that is not valid UTF-16.
bool toUtf8(std::u16string_view text, std::string& out)
{
    out.clear();
    if (text.empty()) {
        return true;
    }
    const bool isAscii = std::all_of(text.begin(), text.end(), [](WCHAR unit) { return unit < 0x80; });
    if (isAscii) {
        out.assign(text.begin(), text.end());
        return true;
    }
    const int length = static_cast<int>(text.size());
    const int size =
        WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), length, nullptr, 0, nullptr, nullptr);
    out.resize(static_cast<std::size_t>(size));
    return size > 0 && WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), length, out.data(), size,
                                           nullptr, nullptr) == size;
}

std::u16string_view viewOf(const WCHAR* text)
{
    return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

/// Splits a header block into its lines. False if a line is no header: a request is not sent without what the caller
/// gave.
bool splitHeaders(const std::string& block, std::vector<std::string>& lines)
{
    std::size_t start = 0;
    while (start < block.size()) {
        const std::size_t end = std::min(block.find("\r\n", start), block.size());
        std::string line = block.substr(start, end - start);
        start = end + 2;
        if (line.empty()) {
            continue;
        }
        const std::size_t colon = line.find(':');
        if (colon == 0 || colon == std::string::npos || line.find('\0') != std::string::npos) {
            return false;
        }
        lines.push_back(std::move(line));
    }
    return true;
}

template <typename Call>
BOOL onRequest(HINTERNET handle, Call call)
{
    // Most calls come from the request's own callback, which holds it already.
    HttpHandle* object = HttpHandle::InCallback(handle);
    const std::shared_ptr<HttpHandle> held = object == nullptr ? HttpHandleTable::Instance().Find(handle) : nullptr;
    object = object == nullptr ? held.get() : object;
    if (object == nullptr) {
        return result(ERROR_INVALID_HANDLE);
    }
    if (object->GetKind() != HttpHandle::Kind::Request) {
        return result(ERROR_WINHTTP_INCORRECT_HANDLE_TYPE);
    }
    try {
        return result(call(static_cast<HttpRequest&>(*object)));
    } catch (const std::bad_alloc&) {
        return result(ERROR_NOT_ENOUGH_MEMORY);
    }
}

/// Opens an object below a parent of the given kind; null with the last error set on failure.
template <typename Parent, typename Open>
HINTERNET openBelow(HINTERNET parentHandle, HttpHandle::Kind parentKind, Open open)
{
    const std::shared_ptr<HttpHandle> object = HttpHandleTable::Instance().Find(parentHandle);
    if (!object) {
        return failHandle(ERROR_INVALID_HANDLE);
    }
    if (object->GetKind() != parentKind) {
        return failHandle(ERROR_WINHTTP_INCORRECT_HANDLE_TYPE);
    }
    const auto parent = std::static_pointer_cast<Parent>(object);
    if (!parent->AddChild()) {
        return failHandle(ERROR_INVALID_HANDLE);
    }
    try {
        return HttpHandleTable::Instance().Add(open(parent));
    } catch (...) {
        parent->RemoveChild();
        throw;
    }
}

bool isKnownNotification(DWORD mask)
{
    constexpr DWORD kKnown = WINHTTP_CALLBACK_STATUS_HANDLE_CREATED | WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING |
                             WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE | WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE |
                             WINHTTP_CALLBACK_STATUS_READ_COMPLETE | WINHTTP_CALLBACK_STATUS_WRITE_COMPLETE |
                             WINHTTP_CALLBACK_STATUS_REQUEST_ERROR | WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE |
                             WINHTTP_CALLBACK_STATUS_GETPROXYFORURL_COMPLETE |
                             WINHTTP_CALLBACK_STATUS_GETPROXYSETTINGS_COMPLETE;
    return (mask & ~kKnown) == 0;
}

DWORD queryStatus(HttpRequest& request, void* buffer, DWORD& size)
{
    if (buffer == nullptr || size < sizeof(DWORD)) {
        size = sizeof(DWORD);
        return ERROR_INSUFFICIENT_BUFFER;
    }
    DWORD status = 0;
    if (const DWORD error = request.QueryStatus(status); error != 0) {
        return error;
    }
    std::memcpy(buffer, &status, sizeof(status));
    size = sizeof(status);
    return 0;
}

} // namespace

HINTERNET WinHttpOpen(const WCHAR* agent, DWORD accessType, const WCHAR* proxy, const WCHAR* bypass, DWORD flags)
{
    if (agent != nullptr || accessType != WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY || proxy != nullptr ||
        bypass != nullptr || flags != WINHTTP_FLAG_ASYNC) {
        return failHandle(ERROR_INVALID_PARAMETER);
    }
    try {
        // Made here, where that may fail: closing a handle needs it.
        HttpEngine::Instance();
        return HttpHandleTable::Instance().Add(std::make_shared<HttpSession>());
    } catch (const std::bad_alloc&) {
        return failHandle(ERROR_NOT_ENOUGH_MEMORY);
    }
}

WINHTTP_STATUS_CALLBACK WinHttpSetStatusCallback(HINTERNET handle, WINHTTP_STATUS_CALLBACK callback,
                                                 DWORD notifications, DWORD_PTR reserved)
{
    const std::shared_ptr<HttpHandle> session = HttpHandleTable::Instance().Find(handle);
    if (!session || session->GetKind() != HttpHandle::Kind::Session) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WINHTTP_INVALID_STATUS_CALLBACK;
    }
    if (!isKnownNotification(notifications) || reserved != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WINHTTP_INVALID_STATUS_CALLBACK;
    }
    return session->SetCallback(callback, notifications);
}

HINTERNET WinHttpConnect(HINTERNET session, const WCHAR* host, INTERNET_PORT port, DWORD reserved)
{
    if (host == nullptr || reserved != 0) {
        return failHandle(ERROR_INVALID_PARAMETER);
    }
    try {
        std::string hostName;
        if (!toUtf8(host, hostName)) {
            return nullptr;
        }
        return openBelow<HttpSession>(session, HttpHandle::Kind::Session,
                                      [&](const std::shared_ptr<HttpSession>& parent) {
                                          return std::make_shared<HttpConnection>(parent, std::move(hostName), port);
                                      });
    } catch (const std::bad_alloc&) {
        return failHandle(ERROR_NOT_ENOUGH_MEMORY);
    }
}

HINTERNET WinHttpOpenRequest(HINTERNET connection, const WCHAR* verb, const WCHAR* objectName, const WCHAR* version,
                             const WCHAR* referrer, const WCHAR** acceptTypes, DWORD flags)
{
    const bool isListed = (flags & ~WINHTTP_FLAG_SECURE) == WINHTTP_FLAG_REFRESH;
    if (!isListed || version != nullptr || referrer != nullptr || acceptTypes != nullptr) {
        return failHandle(ERROR_INVALID_PARAMETER);
    }
    try {
        std::string verbText;
        std::string object;
        if (!toUtf8(viewOf(verb), verbText) || !toUtf8(viewOf(objectName), object)) {
            return nullptr;
        }
        return openBelow<HttpConnection>(
            connection, HttpHandle::Kind::Connection, [&](const std::shared_ptr<HttpConnection>& parent) {
                const bool isSecure = (flags & WINHTTP_FLAG_SECURE) != 0;
                return std::make_shared<HttpRequest>(parent, std::move(verbText), object, isSecure);
            });
    } catch (const std::bad_alloc&) {
        return failHandle(ERROR_NOT_ENOUGH_MEMORY);
    }
}

BOOL WinHttpSetOption(HINTERNET handle, DWORD option, LPVOID value, DWORD size)
{
    return onRequest(handle, [&](HttpRequest& request) -> DWORD {
        if (value == nullptr || size != sizeof(DWORD)) {
            return ERROR_INVALID_PARAMETER;
        }
        DWORD number = 0;
        std::memcpy(&number, value, sizeof(number));
        if (option == WINHTTP_OPTION_CONNECT_TIMEOUT) {
            return request.SetConnectTimeout(number);
        }
        const bool isPolicy =
            number == WINHTTP_OPTION_REDIRECT_POLICY_NEVER || number == WINHTTP_OPTION_REDIRECT_POLICY_ALWAYS;
        if (option != WINHTTP_OPTION_REDIRECT_POLICY || !isPolicy) {
            return ERROR_INVALID_PARAMETER;
        }
        return request.SetFollowsRedirects(number == WINHTTP_OPTION_REDIRECT_POLICY_ALWAYS);
    });
}

BOOL WinHttpSendRequest(HINTERNET request, const WCHAR* headers, DWORD headersLength, LPVOID optional,
                        DWORD optionalLength, DWORD totalLength, DWORD_PTR context)
{
    return onRequest(request, [&](HttpRequest& opened) -> DWORD {
        const bool hasHeaders = headers != nullptr || headersLength == 0;
        const bool hasBody = optional != nullptr || optionalLength == 0;
        if (!hasHeaders || !hasBody || optionalLength != totalLength) {
            return ERROR_INVALID_PARAMETER;
        }
        std::string block;
        std::vector<std::string> lines;
        if (!toUtf8(std::u16string_view(headers, headersLength), block)) {
            return ERROR_NO_UNICODE_TRANSLATION;
        }
        if (!splitHeaders(block, lines)) {
            return ERROR_INVALID_PARAMETER;
        }
        return opened.Send(std::move(lines), optional, optionalLength, context);
    });
}

BOOL WinHttpReceiveResponse(HINTERNET request, LPVOID reserved)
{
    return onRequest(request, [&](HttpRequest& sent) {
        return reserved == nullptr ? sent.ReceiveResponse() : ERROR_INVALID_PARAMETER;
    });
}

BOOL WinHttpQueryHeaders(HINTERNET request, DWORD level, const WCHAR* name, LPVOID buffer, DWORD* size, DWORD* index)
{
    return onRequest(request, [&](HttpRequest& received) -> DWORD {
        if (name != nullptr || size == nullptr || index != nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        if (level == (WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER)) {
            return queryStatus(received, buffer, *size);
        }
        return level == WINHTTP_QUERY_RAW_HEADERS_CRLF ? received.QueryRawHeaders(static_cast<WCHAR*>(buffer), *size)
                                                       : ERROR_INVALID_PARAMETER;
    });
}

BOOL WinHttpQueryDataAvailable(HINTERNET request, DWORD* available)
{
    return onRequest(request, [&](HttpRequest& received) {
        return available == nullptr ? received.QueryDataAvailable() : ERROR_INVALID_PARAMETER;
    });
}

BOOL WinHttpReadData(HINTERNET request, LPVOID buffer, DWORD size, DWORD* read)
{
    return onRequest(request, [&](HttpRequest& received) {
        return buffer != nullptr && read == nullptr ? received.Read(buffer, size) : ERROR_INVALID_PARAMETER;
    });
}

BOOL WinHttpCloseHandle(HINTERNET handle)
{
    const std::shared_ptr<HttpHandle> object = HttpHandleTable::Instance().Remove(handle);
    if (!object) {
        return result(ERROR_INVALID_HANDLE);
    }
    object->Invalidate();
    object->Close();
    return TRUE;
}
