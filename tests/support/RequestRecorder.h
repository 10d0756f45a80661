#pragma once

#include "common/networking/ILumAsynchronousHttpClient.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace LumTests {

/// One call of a completion.
struct Outcome {
    LumNetworking::HttpRequestResult result;
    std::unique_ptr<LumNetworking::HttpResponse> response;
    std::unique_ptr<LumUtils::ILumError> error;
    /// Which transaction was passed; it is not kept alive.
    const LumNetworking::ILumAsynchronousTransaction* transaction;
    std::thread::id thread;
};

/// Longer than anything takes that works.
constexpr std::chrono::seconds kLongestWait{120};

/// Provides the completion of one request and waits for it. Every wait is bounded, and throws when it was in vain.
class RequestRecorder {
public:
    /// Runs within the completion, before anybody who waits for it goes on.
    using Hook =
        std::function<void(Outcome& outcome, const std::shared_ptr<LumNetworking::ILumAsynchronousTransaction>&)>;

    RequestRecorder();

    /// To be called once.
    LumNetworking::HttpCompletion Completion(Hook hook = nullptr) const;

    std::size_t CallCount() const;

    /// Waits for the first call and hands it over.
    Outcome WaitForOutcome() const;

    /// Waits until the last copy of the completion is gone: it cannot be called any more.
    void WaitForRelease() const;

    bool IsReleased() const;

private:
    struct State {
        mutable std::mutex mutex;
        std::condition_variable changed;
        std::vector<Outcome> outcomes;
        bool isReleased = false;
    };

    std::shared_ptr<State> state;
};

/// Waits until the condition holds, looking often; false if it never does.
bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit = kLongestWait);

} // namespace LumTests
