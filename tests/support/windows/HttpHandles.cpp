#include "support/HttpHandles.h"

#include "support/windows/ModuleImport.h"

#include <atomic>

#include <windows.h>

#include <winhttp.h>

/// The module's calls that open handles go through here, and so do the notifications that it gets: a handle is open
/// until the platform tells that it is closing, as its last notification.

namespace LumTests {

namespace {

std::atomic<std::size_t> openHandles{0};

/// All sessions have the same.
std::atomic<WINHTTP_STATUS_CALLBACK> moduleCallback{nullptr};

HINTERNET counted(HINTERNET handle)
{
    openHandles += handle == nullptr ? 0 : 1;
    return handle;
}

/// One of the module's imports, and what it led to.
template <typename Function>
class Import {
public:
    Import(const char* name, Function target)
        : call(reinterpret_cast<Function>(ModuleImport(name).redirect(reinterpret_cast<void*>(target))))
    {
    }

    const Function call;
};

HINTERNET WINAPI openSession(LPCWSTR agent, DWORD access, LPCWSTR proxy, LPCWSTR bypass, DWORD flags);
HINTERNET WINAPI openConnection(HINTERNET session, LPCWSTR host, INTERNET_PORT port, DWORD reserved);
HINTERNET WINAPI openRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR object, LPCWSTR version, LPCWSTR referrer,
                             LPCWSTR* types, DWORD flags);
WINHTTP_STATUS_CALLBACK WINAPI setCallback(HINTERNET handle, WINHTTP_STATUS_CALLBACK callback, DWORD mask,
                                           DWORD_PTR reserved);

const Import<decltype(&WinHttpOpen)> sessions("WinHttpOpen", &openSession);
const Import<decltype(&WinHttpConnect)> connections("WinHttpConnect", &openConnection);
const Import<decltype(&WinHttpOpenRequest)> requests("WinHttpOpenRequest", &openRequest);
const Import<decltype(&WinHttpSetStatusCallback)> callbacks("WinHttpSetStatusCallback", &setCallback);

HINTERNET WINAPI openSession(LPCWSTR agent, DWORD access, LPCWSTR proxy, LPCWSTR bypass, DWORD flags)
{
    return counted(sessions.call(agent, access, proxy, bypass, flags));
}

HINTERNET WINAPI openConnection(HINTERNET session, LPCWSTR host, INTERNET_PORT port, DWORD reserved)
{
    return counted(connections.call(session, host, port, reserved));
}

HINTERNET WINAPI openRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR object, LPCWSTR version, LPCWSTR referrer,
                             LPCWSTR* types, DWORD flags)
{
    return counted(requests.call(connection, verb, object, version, referrer, types, flags));
}

/// Wine leaves to chance what the last error is when the error of a request is notified. Here it is that error, as on
/// Windows, so that the failures of which a test knows can be told from others.
void CALLBACK notify(HINTERNET handle, DWORD_PTR context, DWORD status, LPVOID information, DWORD length)
{
    if (status == WINHTTP_CALLBACK_STATUS_REQUEST_ERROR) {
        SetLastError(static_cast<const WINHTTP_ASYNC_RESULT*>(information)->dwError);
    }
    moduleCallback.load()(handle, context, status, information, length);
    if (status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING) {
        --openHandles;
    }
}

WINHTTP_STATUS_CALLBACK WINAPI setCallback(HINTERNET handle, WINHTTP_STATUS_CALLBACK callback, DWORD mask,
                                           DWORD_PTR reserved)
{
    moduleCallback = callback;
    return callbacks.call(handle, &notify, mask, reserved);
}

} // namespace

std::size_t openHttpHandles()
{
    return openHandles;
}

} // namespace LumTests
