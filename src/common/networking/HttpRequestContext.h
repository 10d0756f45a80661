#pragma once

#include "common/networking/ILumAsynchronousHttpClient.h"
#include "common/utils/ILumUtilsLoggerDelegate.h"

#include <atomic>

namespace LumNetworking {

/// What every transport keeps for one request until it is completed. The transaction holds the context; the context
/// only knows the transaction, so that neither keeps the other alive.
struct HttpRequestContext {
    HttpRequestContext(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
                       const HttpCompletion& callback);

    /// Calls the completion: with CANCELLED if the transaction was cancelled, else with FAILED if there is an error,
    /// else with SUCCESS. Only the first call has an effect; it returns true. An exception of the completion is logged.
    bool Complete();

    /// The two steps of Complete, for a transport that has something to do between them. The first is true for one
    /// caller only, which must go on with the second.
    bool MarkCompleted() { return !completed.exchange(true); }
    void CallCompletion();

    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate> logger;
    /// Empty once the request is completed.
    HttpCompletion completion;
    /// Empty once the request is completed, whether or not the completion was given them.
    std::unique_ptr<HttpResponse> response;
    std::unique_ptr<LumUtils::ILumError> error;
    std::atomic<bool> completed{false};
    std::weak_ptr<ILumAsynchronousTransaction> transaction;
};

} // namespace LumNetworking
