#include "Windows/utils/LumDebuggerUtils.h"

#include "platform/LumPlatform.h"

namespace LumUtils {

bool LumDebuggerUtils::isDebuggerAttached() const
{
    return IsDebuggerPresent() != FALSE;
}

} // namespace LumUtils
