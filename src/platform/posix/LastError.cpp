#include "platform/posix/PosixPlatform.h"

#include <cerrno>

DWORD GetLastError()
{
    return static_cast<DWORD>(errno);
}

void SetLastError(DWORD code)
{
    errno = static_cast<int>(code);
}
