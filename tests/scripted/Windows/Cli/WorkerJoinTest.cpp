#include "Windows/Cli/networking/socks/HttpClientAsyncContext.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

/// What becomes of a request's worker when its context goes.

namespace {

using LumNetworking::HttpClientAsyncContext;

std::shared_ptr<HttpClientAsyncContext> makeContext()
{
    return std::make_shared<HttpClientAsyncContext>(nullptr, nullptr, nullptr, nullptr);
}

TEST(WorkerJoinTest, WhoeverLetsTheContextGoWaitsForTheWorker)
{
    std::atomic<bool> hasEnded{false};
    auto context = makeContext();
    context->worker = std::make_unique<std::thread>([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        hasEnded = true;
    });
    context.reset();
    EXPECT_TRUE(hasEnded);
}

TEST(WorkerJoinTest, AWorkerThatLetsItsContextGoIsNotWaitedFor)
{
    std::promise<std::shared_ptr<HttpClientAsyncContext>> handedOver;
    std::promise<void> goesOn;
    auto context = makeContext();
    context->worker = std::make_unique<std::thread>([&] {
        std::shared_ptr<HttpClientAsyncContext> own = handedOver.get_future().get();
        own.reset();
        goesOn.set_value();
    });
    handedOver.set_value(std::move(context));
    EXPECT_EQ(goesOn.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
}

} // namespace
