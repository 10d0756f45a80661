#include "Windows/networking/LibLumNetworkingWinUtils.h"
#include "scripted/Windows/networking/ScriptedRequest.h"
#include "support/MemoryTest.h"

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

class WinHttpMemoryTest : public testing::Test {
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

TEST_F(WinHttpMemoryTest, MissingAtTheStartTheRequestIsRefusedOrFailsOnTheCallersThread)
{
    const auto logger = std::make_shared<RecordingLogger>();
    const std::map<std::string, std::string> headers = {{"Name", body}};
    int refused = 0;
    int failed = 0;
    bool hasFailed = true;
    for (int succeeding = 0; hasFailed; ++succeeding) {
        SCOPED_TRACE("after " + std::to_string(succeeding) + " allocations");
        ScriptedPlatform platform;
        LumNetworking::WinHttpClientAsync client(logger);
        tally = {};
        const LumNetworking::HttpCompletion callback = completion();
        std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> transaction;
        {
            const FailingAllocation failing(succeeding);
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
            const LogRecord record = logger->records().back();
            EXPECT_EQ(record.message, "Failed to start HTTP request: std::bad_alloc");
            EXPECT_EQ(record.level, LumUtils::LumLogLevel::Error);
        }
        EXPECT_EQ(tally.calls, transaction ? 1 : 0);
        transaction.reset();
        EXPECT_EQ(platform.openHandles(), 0U);
        EXPECT_TRUE(platform.misuses().empty());
    }
    EXPECT_GT(refused, 3);
    EXPECT_GT(failed, 3);
}

TEST_F(WinHttpMemoryTest, WithoutMemoryForItsErrorTheRequestStillFails)
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

TEST_F(WinHttpMemoryTest, MissingWhileHeadersAreReadItIsThrownOrTheyAreWhole)
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

} // namespace
