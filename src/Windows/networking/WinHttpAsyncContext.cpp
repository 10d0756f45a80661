#include "Windows/networking/WinHttpAsyncContext.h"

#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumError.h"
#include "common/utils/LumErrorNames.h"
#include "common/utils/LumErrorReference.h"

namespace LumNetworking {

namespace {

/// Never destroyed: the errors that refer to it are the host's.
const LumUtils::LumError& outOfMemoryError()
{
    static const auto& error = *new LumUtils::LumError(
        LumUtils::LumErrorNames::kNetworkingDomain, LumNetworkingErrorCode::kReceiveFailed,
        {{LumUtils::LumErrorNames::kUnderlyingErrorCode, static_cast<int>(ERROR_NOT_ENOUGH_MEMORY)}});
    return error;
}

} // namespace

WinHttpAsyncContext::WinHttpAsyncContext(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
                                         const HttpCompletion& callback)
    : HttpRequestContext(loggerDelegate, callback),
      preparedError(std::make_unique<LumUtils::LumErrorReference>(outOfMemoryError()))
{
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
