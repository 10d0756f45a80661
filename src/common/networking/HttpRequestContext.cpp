#include "common/networking/HttpRequestContext.h"

#include "common/utils/LumLog.h"

#include <utility>

namespace LumNetworking {

namespace {

void callCompletion(HttpRequestContext& context, const HttpCompletion& completion)
{
    std::shared_ptr<ILumAsynchronousTransaction> transaction = context.transaction.lock();
    // What the completion does not get is released before it runs, as it may take its time.
    std::unique_ptr<HttpResponse> response = std::move(context.response);
    std::unique_ptr<LumUtils::ILumError> error = std::move(context.error);
    const bool isCancelled = transaction && transaction->IsCancelled();
    if (isCancelled || error) {
        response.reset();
    }
    if (isCancelled) {
        error.reset();
        completion(HttpRequestResult::CANCELLED, nullptr, nullptr, std::move(transaction));
    } else if (error) {
        completion(HttpRequestResult::FAILED, nullptr, std::move(error), std::move(transaction));
    } else {
        completion(HttpRequestResult::SUCCESS, std::move(response), nullptr, std::move(transaction));
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
    if (!MarkCompleted()) {
        return false;
    }
    CallCompletion();
    return true;
}

void HttpRequestContext::CallCompletion()
{
    // Let go of at the end: what it captured may hold the transaction, and so this context.
    const HttpCompletion taken = std::exchange(completion, nullptr);
    if (!taken) {
        response.reset();
        error.reset();
        return;
    }
    // The frames below belong to the platform: no exception may reach them, not even one of the logger.
    try {
        callCompletion(*this, taken);
    } catch (...) {
        try {
            logCompletionException(*this);
        } catch (...) {
            return;
        }
    }
}

} // namespace LumNetworking
