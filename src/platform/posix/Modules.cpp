#include "platform/posix/PosixPlatform.h"

#include <dlfcn.h>
#include <link.h>

BOOL GetModuleHandleExW(DWORD flags, const WCHAR* address, HMODULE* module)
{
    if (flags != (GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) || address == nullptr ||
        module == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *module = nullptr;
    Dl_info info{};
    void* entry = nullptr;
    if (dladdr1(address, &info, &entry, RTLD_DL_LINKMAP) == 0) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    // Nothing is loaded anew: what is there already is only marked. The program itself has no name.
    const char* const name = static_cast<const link_map*>(entry)->l_name;
    *module = dlopen(*name == '\0' ? nullptr : name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    if (*module == nullptr) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    dlclose(*module);
    return TRUE;
}
