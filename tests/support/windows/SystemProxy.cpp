#include "support/SystemProxy.h"

#include "support/windows/ModuleImport.h"

#include <windows.h>

#include <winhttp.h>

/// Wine's WinHTTP takes the automatic proxy for none. So the module's sessions, which ask for that, get one by name.

namespace LumTests {

namespace {

using Open = decltype(&WinHttpOpen);

Open openBefore = nullptr;
std::wstring proxy;

HINTERNET WINAPI openWithProxy(LPCWSTR agent, DWORD access, LPCWSTR named, LPCWSTR bypass, DWORD flags)
{
    return access == WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY
               ? openBefore(agent, WINHTTP_ACCESS_TYPE_NAMED_PROXY, proxy.c_str(), bypass, flags)
               : openBefore(agent, access, named, bypass, flags);
}

} // namespace

void setSystemProxy(const std::string& server)
{
    proxy.assign(server.begin(), server.end());
    if (openBefore == nullptr) {
        openBefore =
            reinterpret_cast<Open>(ModuleImport("WinHttpOpen").redirect(reinterpret_cast<void*>(&openWithProxy)));
    }
}

} // namespace LumTests
