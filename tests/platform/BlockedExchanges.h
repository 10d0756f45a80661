#pragma once

#include "platform/Hold.h"
#include "platform/WinHttpExchange.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace LumTests {

/// Requests whose callbacks wait, each on a thread of its own.
class BlockedExchanges {
public:
    static constexpr std::size_t kCount = 20;

    /// Each callback first does what is given.
    explicit BlockedExchanges(const std::function<void()>& first = [] {})
    {
        for (std::size_t index = 0; index < kCount; ++index) {
            exchanges.push_back(std::make_unique<WinHttpExchange>(toScripted("/bytes?n=10")));
            exchanges.back()->onNotification = [this, first,
                                                released = hold.Released()](const SeenNotification& notification) {
                if (notification.status == WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE) {
                    first();
                    ++waiting;
                    released.wait();
                }
            };
            EXPECT_TRUE(exchanges.back()->Send());
        }
    }

    bool AllWait() const
    {
        return waitUntil([this] { return waiting == kCount; }, std::chrono::seconds(20));
    }

    void End()
    {
        hold.LetGo();
        for (const std::unique_ptr<WinHttpExchange>& exchange : exchanges) {
            EXPECT_TRUE(exchange->WaitForEnd());
        }
    }

private:
    std::atomic<std::size_t> waiting{0};
    std::vector<std::unique_ptr<WinHttpExchange>> exchanges;
    Hold hold;
};

} // namespace LumTests
