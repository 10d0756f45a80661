#include "platform/LumFileError.h"

#include <cerrno>

namespace LumPlatform {

unsigned int FileErrorNumber(std::errc reason)
{
    return static_cast<unsigned int>(reason);
}

void SetLastFileError(std::errc reason)
{
    errno = static_cast<int>(reason);
}

} // namespace LumPlatform
