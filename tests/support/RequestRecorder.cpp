#include "support/RequestRecorder.h"

#include <algorithm>
#include <stdexcept>

namespace LumTests {

using LumNetworking::HttpCompletion;
using LumNetworking::HttpRequestResult;
using LumNetworking::HttpResponse;
using LumNetworking::ILumAsynchronousTransaction;
using LumUtils::ILumError;

RequestRecorder::RequestRecorder() : state(std::make_shared<State>()) {}

HttpCompletion RequestRecorder::Completion(Hook hook) const
{
    // Lives as long as any copy of the completion.
    const std::shared_ptr<State> token(state.get(), [shared = state](State*) {
        const std::lock_guard<std::mutex> lock(shared->mutex);
        shared->isReleased = true;
        shared->changed.notify_all();
    });
    return [token, hook = std::move(hook)](HttpRequestResult result, std::unique_ptr<HttpResponse> response,
                                           std::unique_ptr<ILumError> error,
                                           std::shared_ptr<ILumAsynchronousTransaction> transaction) {
        Outcome outcome{result, std::move(response), std::move(error), transaction.get(), std::this_thread::get_id()};
        if (hook) {
            hook(outcome, transaction);
        }
        const std::lock_guard<std::mutex> lock(token->mutex);
        token->outcomes.push_back(std::move(outcome));
        token->changed.notify_all();
    };
}

std::size_t RequestRecorder::CallCount() const
{
    const std::lock_guard<std::mutex> lock(state->mutex);
    return state->outcomes.size();
}

Outcome RequestRecorder::WaitForOutcome() const
{
    std::unique_lock<std::mutex> lock(state->mutex);
    if (!state->changed.wait_for(lock, kLongestWait, [this] { return !state->outcomes.empty(); })) {
        throw std::runtime_error("the completion was not called");
    }
    return std::move(state->outcomes.front());
}

void RequestRecorder::WaitForRelease() const
{
    std::unique_lock<std::mutex> lock(state->mutex);
    if (!state->changed.wait_for(lock, kLongestWait, [this] { return state->isReleased; })) {
        throw std::runtime_error("the completion is still held");
    }
}

bool RequestRecorder::IsReleased() const
{
    const std::lock_guard<std::mutex> lock(state->mutex);
    return state->isReleased;
}

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit)
{
    constexpr std::chrono::microseconds kLongestPause{2000};
    const auto end = std::chrono::steady_clock::now() + limit;
    for (std::chrono::microseconds pause{50}; !condition(); pause = std::min(2 * pause, kLongestPause)) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

} // namespace LumTests
