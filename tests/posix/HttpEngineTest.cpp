#include "platform/BlockedExchanges.h"
#include "platform/Hold.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>

/// What the layer's own threads do.

namespace {

using namespace LumTests;

/// What a host's callback leaves on the thread that it ran on; it ends with the thread.
struct LeftOnThread {
    ~LeftOnThread()
    {
        if (end) {
            ++*count;
            end->wait();
        }
    }

    std::optional<std::shared_future<void>> end;
    std::shared_ptr<std::atomic<int>> count;
};

TEST(HttpEngineTest, WhatACallbackLeavesOnAThreadThatEndsHoldsUpNobody)
{
    Hold hold;
    const auto ending = std::make_shared<std::atomic<int>>(0);
    BlockedExchanges first([&, released = hold.Released()] {
        thread_local LeftOnThread left;
        left.end = released;
        left.count = ending;
    });
    EXPECT_TRUE(first.AllWait());
    first.End();
    EXPECT_TRUE(waitUntil([&] { return *ending > 0; }, std::chrono::seconds(30))) << "threads end that rest for long";

    BlockedExchanges second;
    EXPECT_TRUE(second.AllWait()) << "there are threads for these";
    hold.LetGo();
    second.End();
}

} // namespace
