#pragma once

#include "Windows/networking/WinHttpHandle.h"
#include "common/networking/HttpBodyCollector.h"
#include "common/networking/HttpRequestContext.h"

#include <vector>

namespace LumNetworking {

/// The state of one WinHTTP request, shared between its transaction and the platform's callback threads.
///
/// The platform knows only the context's address. Between HoldForPlatform and ReleaseFromPlatform the context therefore
/// owns itself: it outlives every notification that reads it, whatever the caller drops. The handle-closing
/// notifications come later and must not read it.
struct WinHttpAsyncContext : HttpRequestContext, std::enable_shared_from_this<WinHttpAsyncContext> {
    WinHttpAsyncContext(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
                        const HttpCompletion& callback);

    void HoldForPlatform() { platformHold = shared_from_this(); }
    void ReleaseFromPlatform() { platformHold.reset(); }

    /// Sees that the request has an error, for when there is no memory to make one.
    void EnsureError();

    /// Completes the request and lets the platform's hold go. The caller must hold the context.
    void CompleteAndRelease();

    /// Members are destroyed last to first: the request is closed before its connection, and that before the session.
    WinHttpHandle session;
    WinHttpHandle connection;
    WinHttpHandle request;

    /// The bytes to be sent; the platform reads them until the request has been sent.
    std::string requestBody;

    std::vector<char> readBuffer;
    HttpBodyCollector body;

private:
    std::shared_ptr<WinHttpAsyncContext> platformHold;
    std::unique_ptr<LumUtils::ILumError> preparedError;
};

} // namespace LumNetworking
