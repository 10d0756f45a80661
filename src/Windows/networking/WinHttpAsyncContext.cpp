#include "Windows/networking/WinHttpAsyncContext.h"

#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumError.h"
#include "common/utils/LumErrorNames.h"
#include "common/utils/LumErrorReference.h"

#include <utility>

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

void WinHttpAsyncContext::ReleaseResponseBuffers()
{
    // Moved out, for a text that is assigned keeps its memory.
    const std::vector<char> releasedBuffer = std::move(readBuffer);
    const HttpBodyCollector releasedBody = std::move(body);
}

void WinHttpAsyncContext::CompleteAndRelease()
{
    // Only the path that completes the request may let go, or two paths would write the hold at once.
    if (!MarkCompleted()) {
        return;
    }
    ReleaseResponseBuffers();
    CallCompletion();
    ReleaseFromPlatform();
}

} // namespace LumNetworking
