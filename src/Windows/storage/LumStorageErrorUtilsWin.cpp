#include "Windows/storage/LumStorageErrorUtilsWin.h"

#include "common/utils/LumLog.h"
#include "common/utils/LumPlatformMessage.h"

#include <cstdint>

namespace LumStorage::LumStorageErrorUtilsWin {

std::string getLastErrorMessage(DWORD& codeOut)
{
    codeOut = GetLastError();
    return LumUtils::platformMessage(codeOut);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the delegate is the caller's gift, released on return
void logWindowsErrorWithDelegate(const char* operation, std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> delegate)
{
    DWORD code = 0;
    const std::string text = getLastErrorMessage(code);
    if (!delegate) {
        return;
    }
    const std::string message =
        std::string(operation) + " failed. Error " + std::to_string(static_cast<std::int32_t>(code)) + ": " + text;
    LUM_LOG_TEXT(delegate, Error, "LumStorage::LumStorageErrorUtilsWin::logWindowsErrorWithDelegate", message);
}

} // namespace LumStorage::LumStorageErrorUtilsWin
