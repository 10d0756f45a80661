#include "platform/BlockedExchanges.h"
#include "platform/WinHttpExchange.h"
#include "support/RequestRecorder.h"
#include "support/TestServers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>

/// What the layer does that the reference platform of the tests does otherwise.

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
