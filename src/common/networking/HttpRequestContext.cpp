#include "common/networking/HttpRequestContext.h"

#include "common/utils/LumLog.h"

#include <utility>

namespace LumNetworking {

namespace {

void callCompletion(HttpRequestContext& context, const HttpCompletion& completion)
{
    std::shared_ptr<ILumAsynchronousTransaction> transaction = context.transaction.lock();
    if (transaction && transaction->IsCancelled()) {
        completion(HttpRequestResult::CANCELLED, nullptr, nullptr, std::move(transaction));
    } else if (context.error) {
        completion(HttpRequestResult::FAILED, nullptr, std::move(context.error), std::move(transaction));
    } else {
        completion(HttpRequestResult::SUCCESS, std::move(context.response), nullptr, std::move(transaction));
    }
}

/// To be called in a handler; logs the exception that it handles.
void logCompletionException(const HttpRequestContext& context)
{
    try {
        throw;
    } catch (const std::exception& exception) {
        LUM_LOG(context.logger, Error, "LumNetworking::HttpRequestContext::Complete", "Completion callback threw: %s",
                exception.what());
    } catch (...) {
        LUM_LOG(context.logger, Error, "LumNetworking::HttpRequestContext::Complete",
                "Completion callback threw an unknown exception");
    }
}

} // namespace

HttpRequestContext::HttpRequestContext(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerDelegate,
                                       const HttpCompletion& callback)
    : logger(loggerDelegate), completion(callback)
{
}

bool HttpRequestContext::Complete()
{
    if (completed.exchange(true)) {
        return false;
    }
    // Let go of at the end: what it captured may hold the transaction, and so this context.
    const HttpCompletion taken = std::exchange(completion, nullptr);
    if (!taken) {
        return true;
    }
    // The frames below belong to the platform: no exception may reach them, not even one of the logger.
    try {
        callCompletion(*this, taken);
    } catch (...) {
        try {
            logCompletionException(*this);
        } catch (...) {
            return true;
        }
    }
    return true;
}

} // namespace LumNetworking
