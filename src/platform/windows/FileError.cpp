#include "platform/LumFileError.h"

#include "platform/windows/WindowsPlatform.h"

namespace LumPlatform {

namespace {

DWORD codeOf(std::errc reason)
{
    if (reason == std::errc::file_too_large) {
        return ERROR_FILE_TOO_LARGE;
    }
    return reason == std::errc::not_enough_memory ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_NAME;
}

} // namespace

void SetLastFileError(std::errc reason)
{
    SetLastError(codeOf(reason));
}

} // namespace LumPlatform
