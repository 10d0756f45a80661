#include "Windows/networking/LibLumNetworkingWinUtils.h"
#include "scripted/Windows/networking/ScriptedRequest.h"
#include "support/EachAllocationFails.h"

#include <functional>
#include <optional>

/// What the transport does without memory, seen on one thread.

namespace {

using namespace LumTests;
using LumNetworking::HttpRequestResult;

/// What became of one request.
struct Tally {
    int calls = 0;
    HttpRequestResult result = HttpRequestResult::SUCCESS;
    bool hasResponse = false;
    std::unique_ptr<LumUtils::ILumError> error;

    void ExpectFailed() const
    {
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(result, HttpRequestResult::FAILED);
        EXPECT_FALSE(hasResponse);
        ASSERT_NE(error, nullptr);
        EXPECT_THAT(error->getCode(), testing::AnyOf(6, 7, 12, 13));
        EXPECT_EQ(error->getDomain(), "com.corvan.clientlibs.liblumnetworking.error");
        const std::any& number = error->getUserInfo().at("LumErrorUnderlyingErrorCode");
        EXPECT_EQ(std::any_cast<int>(number), static_cast<int>(ERROR_NOT_ENOUGH_MEMORY));
    }
};

void expectNothingHeld(const ScriptedPlatform& platform)
{
    EXPECT_EQ(platform.openHandles(), 0U);
    EXPECT_EQ(platform.heldBuffers(), 0);
    EXPECT_EQ(platform.heldModules(), 0);
    EXPECT_TRUE(platform.misuses().empty());
}

using Reach = FailingAllocation::Reach;

class WinHttpMemoryTest : public testing::TestWithParam<Reach> {
protected:
    const std::string url = "http://a-host-that-is-too-long-for-a-string/?a=b";
    const std::string body = "a body that is too long for a short string";

    LumNetworking::HttpCompletion completion()
    {
        return [this](HttpRequestResult result, std::unique_ptr<LumNetworking::HttpResponse> response,
                      std::unique_ptr<LumUtils::ILumError> error,
                      const std::shared_ptr<LumNetworking::ILumAsynchronousTransaction>&) {
            ++tally.calls;
            tally.result = result;
            tally.hasResponse = response != nullptr;
            tally.error = std::move(error);
        };
    }

    Tally tally;
};

INSTANTIATE_TEST_SUITE_P(Reaches, WinHttpMemoryTest, testing::Values(Reach::One, Reach::AllThatFollow),
                         [](const auto& reach) { return reach.param == Reach::One ? "One" : "AllThatFollow"; });

TEST_P(WinHttpMemoryTest, MissingAtTheStartTheRequestIsRefusedOrFailsOnTheCallersThread)
{
    const auto logger = std::make_shared<RecordingLogger>();
    const std::map<std::string, std::string> headers = {{"Name", body}};
    int refused = 0;
    int failed = 0;
    bool hasFailed = true;
    for (int succeeding = 0; hasFailed; ++succeeding) {
        SCOPED_TRACE("after " + std::to_string(succeeding) + " allocations");
        logger->clear();
        ScriptedPlatform platform;
        platform.texts[ERROR_NOT_ENOUGH_MEMORY] = "a text that is too long for a short string";
        LumNetworking::WinHttpClientAsync client(logger);
        tally = {};
        const LumNetworking::HttpCompletion callback = completion();
        std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> transaction;
        {
            const FailingAllocation failing(succeeding, GetParam());
            EXPECT_NO_THROW(transaction = client.Post(url, headers, body, callback, true, 30));
            hasFailed = FailingAllocation::HasFailed();
        }
        const bool isRunning = transaction && tally.calls == 0;
        if (isRunning) {
            platform.deliverWholeResponse();
            EXPECT_EQ(tally.result, HttpRequestResult::SUCCESS);
        } else if (transaction) {
            ++failed;
            tally.ExpectFailed();
        } else {
            ++refused;
            // Where there is no memory at all, there is none for the record either.
            const std::vector<LogRecord> records = logger->recordsOfLevel(LumUtils::LumLogLevel::Error);
            ASSERT_EQ(records.size(), GetParam() == Reach::One ? 1U : 0U);
            EXPECT_TRUE(records.empty() || records[0].message == "Failed to start HTTP request: std::bad_alloc");
        }
        EXPECT_EQ(tally.calls, transaction ? 1 : 0);
        transaction.reset();
        expectNothingHeld(platform);
    }
    EXPECT_GT(refused, 3);
    EXPECT_GT(failed, 3);
}

TEST_P(WinHttpMemoryTest, WithoutMemoryForItsErrorTheRequestStillFails)
{
    ScriptedPlatform platform;
    platform.chunks = {std::string(100000, 'y')};
    LumNetworking::WinHttpClientAsync client(nullptr);
    auto transaction = client.Get("http://host/", {}, completion(), true, 30);
    platform.deliverSendComplete();
    platform.deliverHeadersAvailable();
    {
        // None larger than what a body of one letter needs: neither the part of the body nor the error's text fits.
        const AllocationLimit limit(8);
        platform.deliverDataAvailable();
    }
    tally.ExpectFailed();
}

TEST_P(WinHttpMemoryTest, MissingWhileHeadersAreReadItIsThrownOrTheyAreWhole)
{
    ScriptedPlatform platform;
    platform.headerBlock = u"HTTP/1.1 200 OK\r\nA-name-that-is-too-long-for-a-string: "
                           u"a value that is too long for a short string\r\nB: 2\r\n\r\n";
    const HINTERNET request = platform.open("request");
    std::map<std::string, std::string> headers;
    EXPECT_GT(expectThrowsWithoutMemory([&] {
                  std::unique_ptr<LumUtils::ILumError> error;
                  headers = LumNetworking::LibLumNetworkingWinUtils::GetResponseHeaders(nullptr, request, error);
              }),
              3);
    EXPECT_EQ(headers.size(), 2U);
}

class UnknownMethodRequest : public LumNetworking::ILumUrlRequest {
public:
    const LumNetworking::UrlComponents& GetUrlComponents() override { return url; }
    LumNetworking::HttpMethod GetMethod() override { return static_cast<LumNetworking::HttpMethod>(1000000000); }
    const std::map<std::string, std::string>& GetHeaders() override { return headers; }
    const std::vector<std::uint8_t>& GetBody() override { return body; }

private:
    const LumNetworking::UrlComponents url;
    const std::map<std::string, std::string> headers;
    const std::vector<std::uint8_t> body;
};

TEST_P(WinHttpMemoryTest, WhatIsRefusedIsRefusedWithoutMemoryToo)
{
    using Transaction = std::shared_ptr<LumNetworking::ILumAsynchronousTransaction>;
    const auto logger = std::make_shared<RecordingLogger>();
    LumNetworking::WinHttpClientAsync client(logger);
    const LumNetworking::HttpCompletion callback = completion();
    const auto unknown = std::make_shared<UnknownMethodRequest>();
    const std::string noUrl = "nothing that is a URL, in many words";
    const std::vector<std::function<Transaction()>> refused = {
        [&] { return client.Get(noUrl, {}, callback, true, 30); },
        [&] { return client.Post(noUrl, {}, body, callback, true, 30); },
        [&] { return client.Put(noUrl, {}, body, callback, true, 30); },
        [&] { return client.Patch(noUrl, {}, body, callback, true, 30); },
        [&] { return client.Delete(noUrl, {}, callback, true, 30); },
        [&] { return client.Send(nullptr, callback, true, 30); },
        [&] { return client.Send(unknown, callback, true, 30); },
    };
    for (const std::function<Transaction()>& operation : refused) {
        Transaction transaction;
        EXPECT_GT(expectEndsWithoutMemory(
                      GetParam(), [&] { transaction = operation(); },
                      [&](bool hasFailed) {
                          EXPECT_EQ(transaction, nullptr);
                          EXPECT_TRUE(hasFailed || logger->recordsOfLevel(LumUtils::LumLogLevel::Error).size() == 1U);
                          logger->clear();
                      }),
                  0);
    }
    EXPECT_EQ(tally.calls, 0);
}

/// A platform call that fails, and who reports that: the operation returns whether there is nothing to report.
struct ReportedCall {
    const char* name;
    std::function<bool(HINTERNET request, std::unique_ptr<LumUtils::ILumError>& error)> operation;
};

TEST_P(WinHttpMemoryTest, AFailureIsReportedWholeOrThrown)
{
    using namespace LumNetworking::LibLumNetworkingWinUtils;
    const auto logger = std::make_shared<RecordingLogger>();
    const std::vector<ReportedCall> calls = {
        {"WinHttpSetOption",
         [&](HINTERNET request, auto& error) { return SetTimeoutForRequest(logger, request, 30, error); }},
        {"WinHttpSetOption",
         [&](HINTERNET request, auto& error) {
             return SetShouldFollowRedirectsForRequest(logger, request, true, error);
         }},
        {"WinHttpQueryHeaders",
         [&](HINTERNET request, auto& error) { return GetHttpStatusCode(logger, request, error) != 0; }},
        {"WinHttpQueryHeaders",
         [&](HINTERNET request, auto& error) { return !GetResponseHeaders(logger, request, error).empty(); }},
        {"WinHttpQueryHeaders",
         [&](HINTERNET request, auto& error) {
             LumNetworking::HttpResponse response;
             return ReadResponseHeaders(logger, request, response, error);
         }},
    };
    for (const ReportedCall& call : calls) {
        std::optional<ScriptedPlatform> platform;
        HINTERNET request = nullptr;
        std::unique_ptr<LumUtils::ILumError> error;
        const auto prepare = [&] {
            platform.emplace();
            platform->failCall(call.name, 1, ERROR_WINHTTP_SHUTDOWN);
            platform->texts[ERROR_WINHTTP_SHUTDOWN] = "a text that is too long for a short string";
            request = platform->open("request");
            error = nullptr;
            logger->clear();
        };
        prepare();
        bool isDone = false;
        EXPECT_GT(expectThrowsWithoutMemory(
                      GetParam(), [&] { isDone = call.operation(request, error); },
                      [&](bool hasFailed) {
                          EXPECT_EQ(logger->records().size(), hasFailed ? 0U : 1U);
                          EXPECT_TRUE(hasFailed || error->getUserInfo().size() == 2U);
                          platform->close(request);
                          expectNothingHeld(*platform);
                          platform.reset();
                          prepare();
                      }),
                  3);
        EXPECT_FALSE(isDone);
    }
}

} // namespace
