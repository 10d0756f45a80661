#include "platform/LumFileError.h"

#include <cerrno>

namespace LumPlatform {

void SetLastFileError(std::errc reason)
{
    errno = static_cast<int>(reason);
}

} // namespace LumPlatform
