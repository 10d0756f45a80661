#include "platform/BlockedExchanges.h"
#include "platform/WinHttpExchange.h"
#include "support/ProcessResources.h"
#include "support/TestServers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>

/// How the platform delivers: one notification at a time for each request, and nobody waits for another's callback. It
/// holds for the reference platform's own calls as for those of the project's layer.

namespace {

using namespace LumTests;

TEST(WinHttpDeliveryTest, NotificationsOfARequestNeverOverlap)
{
    WinHttpExchange exchange(toScripted("/bytes?n=4000000"));
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    exchange.onNotification = [&](const SeenNotification&) {
        most = std::max<int>(most, ++running);
        std::this_thread::yield();
        --running;
    };
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(most, 1);
    EXPECT_EQ(exchange.Body().size(), 4000000U);
}

TEST(WinHttpDeliveryTest, CallbacksThatBlockDelayNobodyElse)
{
    BlockedExchanges blocked;
    for (int index = 0; index < 10; ++index) {
        WinHttpExchange free(toScripted("/bytes?n=100"));
        EXPECT_TRUE(free.Run());
        EXPECT_EQ(free.Body().size(), 100U);
    }
    EXPECT_TRUE(blocked.AllWait()) << "each of them has a thread of its own meanwhile";
    blocked.End();
}

TEST(WinHttpDeliveryTest, ARequestFromACallbackThatThenBlocksIsSent)
{
    WinHttpExchange inner(toScripted("/bytes?n=10"));
    WinHttpExchange outer(toScripted("/bytes?n=10"));
    std::atomic<bool> innerEnded{false};
    outer.onNotification = [&](const SeenNotification& notification) {
        if (notification.status == WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE) {
            innerEnded = inner.Run();
        }
    };
    EXPECT_TRUE(outer.Run());
    EXPECT_TRUE(innerEnded);
}

TEST(WinHttpDeliveryTest, ABlockedCallbackDoesNotSlowALargeBodyDownWhileOthersTrickle)
{
    std::promise<void> release;
    WinHttpExchange blocked(toScripted("/bytes?n=10"));
    blocked.onNotification = [&](const SeenNotification& notification) {
        if (notification.status == WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE) {
            release.get_future().wait();
        }
    };
    WinHttpExchange trickling(toScripted("/slow?n=4000&ms=1"));
    ASSERT_TRUE(blocked.Send());
    ASSERT_TRUE(blocked.WaitFor(WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE));
    ASSERT_TRUE(trickling.Send());
    ASSERT_TRUE(trickling.WaitFor(WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE));
    WinHttpExchange large(toScripted("/bytes?n=50000000"));
    EXPECT_TRUE(large.Run());
    EXPECT_EQ(large.Body().size(), 50000000U);
    EXPECT_FALSE(trickling.HasEnded()) << "the large body was not made to wait for the end of the others";
    release.set_value();
    EXPECT_TRUE(blocked.WaitForEnd());
    EXPECT_TRUE(trickling.WaitForEnd());
}

TEST(WinHttpDeliveryTest, ACallbackMayWaitForAnotherRequestThatItDrivesItself)
{
    WinHttpExchange::Settings held = toScripted("/bytes?n=10");
    held.receives = false;
    WinHttpExchange other(held);
    WinHttpExchange outer(toScripted("/bytes?n=10"));
    std::atomic<bool> otherEnded{false};
    outer.onNotification = [&](const SeenNotification& notification) {
        if (notification.status == WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE) {
            // Long enough for the watcher to have fallen asleep.
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            WinHttpReceiveResponse(other.Request(), nullptr);
            otherEnded = other.WaitForEnd();
        }
    };
    ASSERT_TRUE(other.Send());
    ASSERT_TRUE(other.WaitFor(WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE));
    EXPECT_TRUE(outer.Run());
    EXPECT_TRUE(otherEnded);
}

TEST(WinHttpDeliveryTest, AnAnswerBeforeTheEndOfTheUploadIsDeliveredWhenTheBodyIsNotReadAnyMore)
{
    WinHttpExchange::Settings settings = toScripted("/early");
    settings.verb = "POST";
    settings.body.assign(std::size_t{32} << 20U, 'a');
    WinHttpExchange exchange(settings);
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(exchange.Status(), 413U);
    EXPECT_THAT(exchange.Steps(),
                testing::ElementsAreArray(
                    {WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE, WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE,
                     WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE, WINHTTP_CALLBACK_STATUS_READ_COMPLETE}));
}

TEST(WinHttpDeliveryTest, AReaderThatDoesNotReadBoundsTheMemory)
{
    constexpr std::size_t kBodySize = std::size_t{128} << 20U;
    WinHttpExchange::Settings settings = toScripted("/bytes?n=" + std::to_string(kBodySize));
    WinHttpExchange exchange(settings);
    std::promise<void> release;
    std::atomic<bool> isHeld{false};
    exchange.onNotification = [&](const SeenNotification& notification) {
        if (notification.status == WINHTTP_CALLBACK_STATUS_READ_COMPLETE && !isHeld.exchange(true)) {
            release.get_future().wait();
        }
    };
    const std::size_t before = usedMemory();
    ASSERT_TRUE(exchange.Send());
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_READ_COMPLETE));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const std::size_t held = usedMemory();
    EXPECT_LT(held, before + (std::size_t{16} << 20U)) << "the server would have sent it all by now";
    release.set_value();
    ASSERT_TRUE(exchange.WaitForEnd());
    EXPECT_EQ(exchange.Body().size(), kBodySize);
}

TEST(WinHttpDeliveryTest, ConnectionsServeRequestsOfOtherSessions)
{
    const auto connectionCount = [] {
        WinHttpExchange statistics(toScripted("/stats"));
        EXPECT_TRUE(statistics.Run());
        return std::stoul(statistics.Body().substr(std::string("connections ").size()));
    };
    const unsigned long before = connectionCount();
    for (int index = 0; index < 50; ++index) {
        WinHttpExchange exchange(toScripted("/bytes?n=10"));
        ASSERT_TRUE(exchange.Run());
    }
    EXPECT_EQ(connectionCount(), before);
}

TEST(WinHttpDeliveryTest, TenRedirectsAreFollowedAndNoMore)
{
    WinHttpExchange ten(toScripted("/chain?n=10"));
    WinHttpExchange eleven(toScripted("/chain?n=11"));
    ASSERT_TRUE(ten.Run());
    ASSERT_TRUE(eleven.Run());
    EXPECT_EQ(ten.Body(), "end of chain");
    EXPECT_EQ(eleven.Failure().value, ERROR_WINHTTP_REDIRECT_FAILED);
}

} // namespace
