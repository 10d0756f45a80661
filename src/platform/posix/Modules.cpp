#include "platform/posix/PosixPlatform.h"

#include <dlfcn.h>

BOOL GetModuleHandleExW(DWORD flags, const WCHAR* address, HMODULE* module)
{
    if (flags != (GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) || address == nullptr ||
        module == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *module = nullptr;
    Dl_info info{};
    if (dladdr(address, &info) == 0) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    // Nothing is loaded anew: what is there already is only marked.
    *module = dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    if (*module == nullptr) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    dlclose(*module);
    return TRUE;
}
