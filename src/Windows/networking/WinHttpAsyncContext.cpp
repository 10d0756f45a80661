#include "Windows/networking/WinHttpAsyncContext.h"

#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumError.h"

namespace LumNetworking {

WinHttpAsyncContext::WinHttpAsyncContext(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
                                         const HttpCompletion& callback)
    : HttpRequestContext(loggerDelegate, callback)
{
    const std::map<std::string, std::any> userInfo = {
        {LumUtils::LumErrorUnderlyingErrorCode, static_cast<int>(ERROR_NOT_ENOUGH_MEMORY)}};
    preparedError = std::make_unique<LumUtils::LumError>(LibLumNetworkingErrorDomain,
                                                         LumNetworkingErrorCode::kReceiveFailed, userInfo);
}

void WinHttpAsyncContext::EnsureError()
{
    if (!error) {
        error = std::move(preparedError);
    }
}

void WinHttpAsyncContext::CompleteAndRelease()
{
    // Only the path that completed the request may let go, or two paths would write the hold at once.
    if (Complete()) {
        ReleaseFromPlatform();
    }
}

} // namespace LumNetworking
