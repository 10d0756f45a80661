#include "platform/LumFileError.h"

#include "platform/windows/WindowsPlatform.h"

namespace LumPlatform {

unsigned int FileErrorNumber(std::errc reason)
{
    if (reason == std::errc::file_too_large) {
        return ERROR_FILE_TOO_LARGE;
    }
    return reason == std::errc::not_enough_memory ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_NAME;
}

void SetLastFileError(std::errc reason)
{
    SetLastError(FileErrorNumber(reason));
}

} // namespace LumPlatform
