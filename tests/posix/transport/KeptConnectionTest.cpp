#include "Windows/networking/TransportTest.h"

#include "support/ProcessResources.h"

#include <future>

namespace LumTests {

using TestServers::scripted;

/// Connections that are kept for the next request, and servers that do with them what they like.
class KeptConnectionTest : public TransportTest {
protected:
    static constexpr std::chrono::milliseconds kUntilMoreHasArrived{150};

    /// An answer after which the server sends these bytes on the kept connection.
    static std::string FollowedBy(const std::string& bytes)
    {
        return scripted("/more?answer=first&bytes=" + TestServers::queryValue(bytes));
    }

    void ExpectOwnAnswers()
    {
        for (const std::string path : {"/echo/one", "/echo/two", "/echo/three"}) {
            EXPECT_THAT(GetBody(scripted(path)), ::testing::StartsWith("GET " + path + " HTTP/1.1"));
        }
    }

    /// Runs a request, and starts another from within its completion when the first connection has had the time to be
    /// spoilt. The outcome of the other.
    Outcome RunThen(const std::string& first, const Starter& second)
    {
        std::promise<Outcome> promise;
        client->Get(
            first, {},
            [&](LumNetworking::HttpRequestResult, auto response, auto, const Transaction&) {
                EXPECT_TRUE(response);
                std::this_thread::sleep_for(kUntilMoreHasArrived);
                std::thread([&] { promise.set_value(Run(second)); }).detach();
            },
            true, 30);
        return promise.get_future().get();
    }

    Transaction StartWithBody(LumNetworking::HttpMethod method, const std::string& url,
                              const LumNetworking::HttpCompletion& completion)
    {
        switch (method) {
        case LumNetworking::HttpMethod::Post:
            return client->Post(url, {}, "body", completion, true, 30);
        case LumNetworking::HttpMethod::Put:
            return client->Put(url, {}, "body", completion, true, 30);
        case LumNetworking::HttpMethod::Patch:
            return client->Patch(url, {}, "body", completion, true, 30);
        default:
            return client->Delete(url, {}, completion, true, 30);
        }
    }
};

constexpr const char* kExtraAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nstolen";
constexpr const char* kTimeoutAnswer = "HTTP/1.1 408 Request Timeout\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
constexpr const char* kLineEnd = "\r\n";

class UnaskedBytesTest : public KeptConnectionTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(UnaskedBytesTest, GoToNoLaterRequest)
{
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(GetBody(FollowedBy(GetParam())), "first");
        std::this_thread::sleep_for(kUntilMoreHasArrived);
        ExpectOwnAnswers();
    }
}

TEST_P(UnaskedBytesTest, GoToNoRequestThatIsStartedBeforeTheyAreSeen)
{
    for (int round = 0; round < 5; ++round) {
        const Outcome outcome =
            RunThen(FollowedBy(GetParam()), [this](const LumNetworking::HttpCompletion& completion) {
                return client->Post(scripted("/checksum"), {}, "body", completion, true, 30);
            });
        expectSuccess(outcome);
        EXPECT_THAT(outcome.response->body, ::testing::StartsWith("4 "));
        ExpectOwnAnswers();
    }
}

INSTANTIATE_TEST_SUITE_P(Bytes, UnaskedBytesTest, ::testing::Values(kExtraAnswer, kTimeoutAnswer, kLineEnd));

class RepetitionTest : public KeptConnectionTest, public ::testing::WithParamInterface<LumNetworking::HttpMethod> {};

/// The server reads the request on the kept connection and closes without an answer: it may have acted on it.
TEST_P(RepetitionTest, WhatMayHaveReachedTheServerIsNotSentAgain)
{
    expectSuccess(Get(scripted("/bytes?n=10")));
    const std::string key = TestServers::newKey();
    logger->clear();
    const Outcome outcome = Run([&](const LumNetworking::HttpCompletion& completion) {
        return StartWithBody(GetParam(), scripted("/close?key=" + key), completion);
    });
    expectFailure(outcome, *logger, kRequestError, 12030);
    EXPECT_EQ(ArrivedCount(key), 1U);
}

/// The server has closed the kept connection: nothing of the request has reached it.
TEST_P(RepetitionTest, AConnectionThatHasEndedIsReplacedBeforeTheRequestIsSent)
{
    for (int round = 0; round < 5; ++round) {
        const std::string key = TestServers::newKey();
        const Outcome outcome =
            RunThen(scripted("/bytes?n=10&close"), [&](const LumNetworking::HttpCompletion& completion) {
                return StartWithBody(GetParam(), scripted("/echo?key=" + key), completion);
            });
        expectSuccess(outcome);
        EXPECT_EQ(ArrivedCount(key), 1U);
    }
}

INSTANTIATE_TEST_SUITE_P(Methods, RepetitionTest,
                         ::testing::Values(LumNetworking::HttpMethod::Post, LumNetworking::HttpMethod::Put,
                                           LumNetworking::HttpMethod::Patch, LumNetworking::HttpMethod::Delete));

TEST_F(KeptConnectionTest, AGetIsSentAgainOnANewConnection)
{
    expectSuccess(Get(scripted("/bytes?n=10")));
    const std::string key = TestServers::newKey();
    logger->clear();
    expectFailure(Get(scripted("/close?key=" + key)), *logger, kRequestError, 12030);
    EXPECT_EQ(ArrivedCount(key), 2U);
}

TEST_F(KeptConnectionTest, OneThatTheServerClosesIsClosedHereToo)
{
    expectSuccess(Get(scripted("/bytes?n=10&close")));
    EXPECT_TRUE(waitUntil([before = openDescriptorCount()] { return openDescriptorCount() < before; },
                          std::chrono::seconds(10)));
}

} // namespace LumTests
