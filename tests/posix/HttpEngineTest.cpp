#include "platform/WinHttpExchange.h"
#include "support/ProcessResources.h"
#include "support/RequestRecorder.h"
#include "support/TestServers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>

/// How the layer delivers: one notification at a time for each request, and nobody waits for another's callback.

namespace {

using namespace LumTests;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::vector<std::pair<HINTERNET, DWORD>> withoutData(const WinHttpExchange& exchange)
{
    std::vector<std::pair<HINTERNET, DWORD>> steps;
    for (const SeenNotification& notification : exchange.Seen()) {
        if (notification.status != WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE &&
            notification.status != WINHTTP_CALLBACK_STATUS_READ_COMPLETE) {
            steps.emplace_back(notification.handle, notification.status);
        }
    }
    return steps;
}

TEST(HttpEngineTest, EveryHandleIsCreatedBeforeAndClosedAfterAllElse)
{
    WinHttpExchange exchange(toScripted("/bytes?n=100"));
    const HINTERNET request = exchange.Request();
    const HINTERNET connection = exchange.Connection();
    const HINTERNET session = exchange.Session();
    ASSERT_TRUE(exchange.Run());
    exchange.Close();
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, session));
    EXPECT_THAT(withoutData(exchange), ElementsAre(std::pair(connection, WINHTTP_CALLBACK_STATUS_HANDLE_CREATED),
                                                   std::pair(request, WINHTTP_CALLBACK_STATUS_HANDLE_CREATED),
                                                   std::pair(request, WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE),
                                                   std::pair(request, WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE),
                                                   std::pair(request, WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING),
                                                   std::pair(connection, WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING),
                                                   std::pair(session, WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING)));
}

TEST(HttpEngineTest, NotificationsOfARequestNeverOverlap)
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

/// Requests whose callbacks wait, each on a thread of its own.
class BlockedExchanges {
public:
    static constexpr std::size_t kCount = 20;

    /// Each callback first does what is given.
    explicit BlockedExchanges(const std::function<void()>& first = [] {})
    {
        for (std::size_t index = 0; index < kCount; ++index) {
            exchanges.push_back(std::make_unique<WinHttpExchange>(toScripted("/bytes?n=10")));
            exchanges.back()->onNotification = [this, first](const SeenNotification& notification) {
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
        release.set_value();
        for (const std::unique_ptr<WinHttpExchange>& exchange : exchanges) {
            EXPECT_TRUE(exchange->WaitForEnd());
        }
    }

private:
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    std::atomic<std::size_t> waiting{0};
    std::vector<std::unique_ptr<WinHttpExchange>> exchanges;
};

TEST(HttpEngineTest, CallbacksThatBlockDelayNobodyElse)
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
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    const auto ending = std::make_shared<std::atomic<int>>(0);
    BlockedExchanges first([&] {
        thread_local LeftOnThread left;
        left.end = released;
        left.count = ending;
    });
    EXPECT_TRUE(first.AllWait());
    first.End();
    EXPECT_TRUE(waitUntil([&] { return *ending > 0; }, std::chrono::seconds(30))) << "threads end that rest for long";

    BlockedExchanges second;
    EXPECT_TRUE(second.AllWait()) << "there are threads for these";
    release.set_value();
    second.End();
}

TEST(HttpEngineTest, ARequestFromACallbackThatThenBlocksIsSent)
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

TEST(HttpEngineTest, ABlockedCallbackDoesNotSlowALargeBodyDownWhileOthersTrickle)
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

TEST(HttpEngineTest, ACallbackMayWaitForAnotherRequestThatItDrivesItself)
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

TEST(HttpEngineTest, AnAnswerBeforeTheEndOfTheUploadIsDeliveredWhenTheBodyIsNotReadAnyMore)
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

TEST(HttpEngineTest, AReaderThatDoesNotReadBoundsTheMemory)
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

TEST(HttpEngineTest, ClosingARequestToASilentServerEndsItAtOnce)
{
    WinHttpExchange::Settings settings;
    settings.port = TestServers::silentPort();
    WinHttpExchange exchange(settings);
    const HINTERNET request = exchange.Request();
    ASSERT_TRUE(exchange.Send());
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE));
    ASSERT_TRUE(exchange.WaitForQuiet()) << "the response has been asked for";
    exchange.Close();
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, request));
    EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_OPERATION_CANCELLED);
}

TEST(HttpEngineTest, ConnectionsServeRequestsOfOtherSessions)
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

TEST(HttpEngineTest, ARedirectToAnotherServerDoesNotGetWhatWasMeantForTheFirst)
{
    const std::string target = TestServers::queryValue(TestServers::scriptedIpv6("/echo"));
    WinHttpExchange::Settings settings = toScripted("/redirect?to=" + target);
    settings.headers = "Authorization: secret\r\nCookie: own=secret\r\nX-Other: kept\r\n";
    WinHttpExchange elsewhere(settings);
    settings.objectName = "/redirect?to=/echo";
    WinHttpExchange same(settings);
    ASSERT_TRUE(elsewhere.Run());
    ASSERT_TRUE(same.Run());
    EXPECT_THAT(elsewhere.Body(), HasSubstr("X-Other: kept\r\n"));
    EXPECT_THAT(elsewhere.Body(), Not(HasSubstr("secret")));
    EXPECT_THAT(same.Body(), HasSubstr("Authorization: secret\r\n"));
}

TEST(HttpEngineTest, ARedirectedPostBecomesAGetWithoutBody)
{
    for (const char* const status : {"301", "302", "303"}) {
        WinHttpExchange::Settings settings = toScripted(std::string("/redirect?to=/echo&status=") + status);
        settings.verb = "POST";
        settings.headers = "Content-Type: text/plain\r\n";
        settings.body = "content";
        WinHttpExchange exchange(settings);
        ASSERT_TRUE(exchange.Run());
        EXPECT_THAT(exchange.Body(), HasSubstr("GET /echo HTTP/1.1\r\n")) << status;
        EXPECT_THAT(exchange.Body(), Not(HasSubstr("ontent"))) << status;
    }
}

TEST(HttpEngineTest, PermanentAndTemporaryRedirectsKeepVerbAndBody)
{
    for (const char* const status : {"307", "308"}) {
        WinHttpExchange::Settings settings = toScripted(std::string("/redirect?to=/echo&status=") + status);
        settings.verb = "POST";
        settings.body = "content";
        WinHttpExchange exchange(settings);
        ASSERT_TRUE(exchange.Run());
        EXPECT_THAT(exchange.Body(), HasSubstr("POST /echo HTTP/1.1\r\n")) << status;
        EXPECT_THAT(exchange.Body(), testing::EndsWith("\r\n\r\ncontent")) << status;
    }
}

TEST(HttpEngineTest, TenRedirectsAreFollowedAndNoMore)
{
    WinHttpExchange ten(toScripted("/chain?n=10"));
    WinHttpExchange eleven(toScripted("/chain?n=11"));
    ASSERT_TRUE(ten.Run());
    ASSERT_TRUE(eleven.Run());
    EXPECT_EQ(ten.Body(), "end of chain");
    EXPECT_EQ(eleven.Failure().value, ERROR_WINHTTP_REDIRECT_FAILED);
}

TEST(HttpEngineTest, HeadersThatEndBeforeTheirEmptyLineAreABrokenConnection)
{
    WinHttpExchange exchange(toScripted("/shortheaders"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_CONNECTION_ERROR);
}

TEST(HttpEngineTest, FoldedHeadersAreUnfolded)
{
    WinHttpExchange exchange(toScripted("/headers/folded"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_THAT(exchange.RawHeaders(), HasSubstr("X-Folded: first second\r\nX-After: after\r\n"));
}

TEST(HttpEngineTest, InterimResponsesAreSkipped)
{
    WinHttpExchange exchange(toScripted("/interim?count=3"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(exchange.Status(), 200U);
    EXPECT_THAT(exchange.RawHeaders(), Not(HasSubstr("X-Interim")));
    EXPECT_EQ(exchange.Body(), "final");
}

} // namespace
