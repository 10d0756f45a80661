#include "Windows/networking/WinHttpAsyncContext.h"

namespace LumNetworking {

void WinHttpAsyncContext::CompleteAndRelease()
{
    // Only the path that completed the request may let go, or two paths would write the hold at once.
    if (Complete()) {
        ReleaseFromPlatform();
    }
}

} // namespace LumNetworking
