#include "Windows/utils/LumModule.h"

#include "platform/LumPlatform.h"

#include <atomic>

namespace LumUtils {

void pinModule()
{
    // Requests ask for it one by one, and the platform's loader lets only one caller in at a time.
    static std::atomic<bool> isPinned{false};
    if (isPinned) {
        return;
    }
    // A program's own code needs no pin, so it does no harm that the platform may have none for it.
    HMODULE module = nullptr;
    isPinned = GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                                  reinterpret_cast<const WCHAR*>(&pinModule), &module) != 0;
}

} // namespace LumUtils
