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

    /// Completes the request, gives the memory of its response back and lets the platform's hold go. The caller must
    /// hold the context.
    void CompleteAndRelease();

    /// The bytes to be sent. The platform may read them until the request's handle is closed, also when the request has
    /// been completed: a response or a redirect may come before all of them are sent.
    std::string requestBody;

    /// Members are destroyed last to first: the request is closed before its connection, and that before the session.
    WinHttpHandle session;
    WinHttpHandle connection;
    WinHttpHandle request;

    std::vector<char> readBuffer;
    HttpBodyCollector body;

private:
    void ReleaseResponseBuffers();

    std::shared_ptr<WinHttpAsyncContext> platformHold;
    std::unique_ptr<LumUtils::ILumError> preparedError;
};

} // namespace LumNetworking
