#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "support/FakeManagedHost.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

namespace {

using namespace LumTests;
using namespace LumNetworking;
using Lines = std::vector<std::optional<std::u16string>>;

constexpr const char* kSecret = "s3cret-Marker";
constexpr const char16_t* kWideSecret = u"s3cret-Marker";

/// What passes through the client and what does not: ticket, headers and bodies are not for the log.
class SocksSecretTest : public testing::Test {
protected:
    FakeManagedHost host;
    const std::shared_ptr<FakeSocksClient> socks = std::make_shared<FakeSocksClient>();
    const std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    const std::string proxyUrl = std::string("socks5://user:") + kSecret + "@proxy:1080";
    std::unique_ptr<LumAsynchronousSocksHttpClient> client =
        std::make_unique<LumAsynchronousSocksHttpClient>(logger, kSecret, proxyUrl, host.lend(socks));

    Outcome Post(const std::string& url, const std::string& headerValue = kSecret)
    {
        const RequestRecorder recorder;
        const auto transaction =
            client->Post(url, {{"X-Ticket", headerValue}}, kSecret, recorder.Completion(), true, 30);
        return recorder.WaitForOutcome();
    }

    std::size_t RecordsWithSecret() const
    {
        std::size_t count = 0;
        for (const LogRecord& record : logger->records()) {
            count += (record.format + record.message).find(kSecret) == std::string::npos ? 0U : 1U;
        }
        return count;
    }
};

TEST_F(SocksSecretTest, TicketHeadersAndBodiesReachTheHostAndNoRecord)
{
    FakeResponse response;
    response.headers = Lines{std::u16string(u"Set-Cookie: ") + kWideSecret};
    response.body = kWideSecret;
    socks->answer(response);
    const Outcome outcome = Post("http://host/");
    ASSERT_EQ(outcome.result, HttpRequestResult::SUCCESS);
    EXPECT_EQ(outcome.response->body, kSecret);
    ASSERT_EQ(socks->parameters().size(), 1U);
    EXPECT_EQ(socks->parameters()[0].first, kWideSecret);
    ASSERT_EQ(socks->requests().size(), 1U);
    EXPECT_EQ(socks->requests()[0].headers.at(u"X-Ticket"), kWideSecret);
    EXPECT_EQ(socks->requests()[0].payload, kWideSecret);
    EXPECT_EQ(logger->records().size(), 3U);
    EXPECT_EQ(RecordsWithSecret(), 0U);
}

TEST_F(SocksSecretTest, AFailedRequestLogsNoneOfIt)
{
    socks->fail(exceptionOf("System.Exception", u"the proxy is gone"));
    EXPECT_EQ(Post("http://host/").result, HttpRequestResult::FAILED);
    FakeResponse withoutBody;
    withoutBody.headers = Lines{std::u16string(u"Set-Cookie: ") + kWideSecret};
    withoutBody.body.reset();
    socks->answer(withoutBody);
    EXPECT_EQ(Post("http://host/").result, HttpRequestResult::FAILED);
    FakeResponse withNullHeader;
    withNullHeader.body = kWideSecret;
    withNullHeader.headers = Lines{std::nullopt};
    socks->answer(withNullHeader);
    EXPECT_EQ(Post("http://host/").result, HttpRequestResult::FAILED);
    EXPECT_EQ(logger->recordsOfLevel(LumUtils::LumLogLevel::Error).size(), 3U);
    EXPECT_EQ(RecordsWithSecret(), 0U);
}

TEST_F(SocksSecretTest, ACancelledRequestLogsNoneOfIt)
{
    const RequestRecorder recorder;
    const auto transaction =
        client->Post("http://host/", {{"X-Ticket", kSecret}}, kSecret, recorder.Completion(), true, 30);
    transaction->Cancel();
    recorder.WaitForOutcome();
    EXPECT_EQ(RecordsWithSecret(), 0U);
}

TEST_F(SocksSecretTest, TheUrlAndTheHostsExceptionAreLogged)
{
    const std::string url = std::string("http://host/?token=") + kSecret;
    socks->fail(exceptionOf("System.Exception", std::u16string(u"thrown with ") + kWideSecret));
    EXPECT_EQ(Post(url).result, HttpRequestResult::FAILED);
    const std::vector<LogRecord> records = logger->records();
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[1].message, "LumAsynchronousSocksHttpClient: Making POST request to " + url);
    EXPECT_EQ(records[2].message, std::string("SOCKS HTTP request error: thrown with ") + kSecret);
}

TEST_F(SocksSecretTest, HeaderValuesWithLineEndsReachTheHostAsTheyAre)
{
    for (const char* const value : {"a\r\nX-Injected: yes", "a\rb", "\n"}) {
        ASSERT_EQ(Post("http://host/", value).result, HttpRequestResult::SUCCESS);
        const std::string text = value;
        EXPECT_EQ(socks->requests().back().headers,
                  (std::map<std::u16string, std::u16string>{{u"X-Ticket", std::u16string(text.begin(), text.end())}}));
    }
}

} // namespace
