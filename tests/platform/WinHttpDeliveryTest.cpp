#include "PlatformQuirks.h"
#include "platform/BlockedExchanges.h"
#include "platform/Hold.h"
#include "platform/WinHttpExchange.h"
#include "support/ProcessResources.h"
#include "support/TestServers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

/// How the platform delivers: one notification at a time for each request, and nobody waits for another's callback. It
/// holds for the reference platform's own calls as for those of the project's layer, but for what PlatformQuirks.h
/// says.

namespace {

using namespace LumTests;

/// What the scripted server says of itself.
std::string answerTo(const std::string& objectName)
{
    WinHttpExchange exchange(toScripted(objectName));
    EXPECT_TRUE(exchange.Run());
    return exchange.Body();
}

/// How much the server could send under the key, which it cannot go on with: its count has stood still meanwhile.
std::size_t sentWhenItStandsStill(const std::string& key)
{
    constexpr int kLooksWithoutChange = 20;
    constexpr std::chrono::milliseconds kBetween{50};
    std::size_t sent = 0;
    for (int looks = 0; looks < kLooksWithoutChange; ++looks) {
        std::this_thread::sleep_for(kBetween);
        const std::size_t now = std::stoul(answerTo("/sent?key=" + key));
        looks = now == sent ? looks : 0;
        sent = now;
    }
    return sent;
}

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
    WinHttpExchange blocked(toScripted("/bytes?n=10"));
    Hold hold;
    blocked.onNotification = [released = hold.Released()](const SeenNotification& notification) {
        if (notification.status == WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE) {
            released.wait();
        }
    };
    const std::string key = TestServers::newKey();
    WinHttpExchange trickling(toScripted("/trickle?seconds=60&key=" + key));
    ASSERT_TRUE(blocked.Send());
    ASSERT_TRUE(blocked.WaitFor(WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE));
    ASSERT_TRUE(trickling.Send());
    ASSERT_TRUE(trickling.WaitFor(WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE));
    WinHttpExchange large(toScripted("/bytes?n=50000000"));
    EXPECT_TRUE(large.Run());
    EXPECT_EQ(large.Body().size(), 50000000U) << large.Failure().value;
    EXPECT_FALSE(trickling.HasEnded()) << "the large body was not made to wait for the end of the others";
    EXPECT_EQ(answerTo("/release?key=" + key), "released");
    hold.LetGo();
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

TEST(WinHttpDeliveryTest, ClosingARequestThatWaitsEndsIt)
{
    const std::string key = TestServers::newKey();
    const std::string seconds = Quirks::kClosingEndsTheWait ? "60" : "1";
    WinHttpExchange exchange(toScripted("/stall?seconds=" + seconds + "&key=" + key));
    const HINTERNET request = exchange.Request();
    ASSERT_TRUE(exchange.Send());
    ASSERT_TRUE(waitUntil([&] { return answerTo("/count?key=" + key) == "1"; }));
    if (Quirks::kTellsOfSendingBeforeTheAnswer) {
        ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE));
        ASSERT_TRUE(exchange.WaitForQuiet()) << "the response has been asked for";
    }
    exchange.Close();
    // Until then nobody else may ask the server: new handles may get the values of those that were closed.
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, request));
    EXPECT_EQ(exchange.Failure().value, Quirks::kClosingEndsTheWait ? DWORD{ERROR_WINHTTP_OPERATION_CANCELLED} : 0U);
    EXPECT_THAT(exchange.Steps(), testing::Not(testing::Contains(WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE)));
    answerTo("/release?key=" + key);
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
    const std::string key = TestServers::newKey();
    std::atomic<bool> isHeld{false};
    WinHttpExchange exchange(toScripted("/bytes?n=" + std::to_string(kBodySize) + "&key=" + key));
    Hold hold;
    exchange.onNotification = [&isHeld, released = hold.Released()](const SeenNotification& notification) {
        if (notification.status == WINHTTP_CALLBACK_STATUS_READ_COMPLETE && !isHeld.exchange(true)) {
            released.wait();
        }
    };
    EXPECT_EQ(answerTo("/sent?key=" + key), "0");
    const std::size_t before = usedMemory();
    ASSERT_TRUE(exchange.Send());
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_READ_COMPLETE));
    EXPECT_LT(sentWhenItStandsStill(key), kBodySize) << "the server is kept waiting";
    EXPECT_LT(usedMemory(), before + (std::size_t{16} << 20U));
    hold.LetGo();
    ASSERT_TRUE(exchange.WaitForEnd());
    EXPECT_EQ(exchange.Body().size(), kBodySize);
}

TEST(WinHttpDeliveryTest, ConnectionsServeRequestsOfOtherSessionsWhereTheyOutliveTheirOwn)
{
    constexpr unsigned long kRequests = 50;
    const auto connectionCount = [] {
        return std::stoul(answerTo("/stats").substr(std::string("connections ").size()));
    };
    const unsigned long before = connectionCount();
    for (unsigned long index = 0; index < kRequests; ++index) {
        WinHttpExchange exchange(toScripted("/bytes?n=10"));
        ASSERT_TRUE(exchange.Run());
    }
    // Else each request opens one, and so does the look at the count.
    const unsigned long opened = Quirks::kConnectionsOutliveTheirSession ? 0 : kRequests + 1;
    EXPECT_EQ(connectionCount() - before, opened);
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
