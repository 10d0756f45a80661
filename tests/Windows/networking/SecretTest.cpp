#include "Windows/networking/TransportTest.h"

namespace LumTests {

using LumNetworking::HttpCompletion;
using LumNetworking::HttpRequestResult;
using TestServers::scripted;

/// What the host gives for the server, and what the server gives for the host, is not for the log.
class SecretTest : public TransportTest {
protected:
    static constexpr const char* kSecret = "s3cret-Marker";

    Headers SecretHeaders() const { return {{"Authorization", kSecret}, {"X-Ticket", kSecret}}; }

    /// The URL with the secret in its query.
    static std::string SecretUrl(const std::string& url)
    {
        return url + (url.find('?') == std::string::npos ? "?" : "&") + "token=" + kSecret;
    }

    /// Posts the secret as header, body and query.
    Outcome Post(const std::string& url, const Headers& headers, int timeoutSeconds = 30)
    {
        return Run([&](const HttpCompletion& completion) {
            return client->Post(SecretUrl(url), headers, kSecret, completion, true, timeoutSeconds);
        });
    }

    Outcome Post(const std::string& url) { return Post(url, SecretHeaders()); }

    /// Expects that there are records, and that none holds the secret in any part.
    void ExpectNoSecretLogged() const
    {
        EXPECT_FALSE(logger->records().empty());
        for (const LogRecord& record : logger->records()) {
            EXPECT_EQ((record.file + record.function + record.format + record.message).find(kSecret), std::string::npos)
                << record.message;
        }
    }

    void ExpectFailureWithoutSecret(const std::string& url, const Headers& headers, int timeoutSeconds = 30)
    {
        logger->clear();
        const Outcome outcome = Post(url, headers, timeoutSeconds);
        ASSERT_EQ(outcome.result, HttpRequestResult::FAILED) << url;
        EXPECT_EQ(outcome.error->getDescription().find(kSecret), std::string::npos);
        ExpectNoSecretLogged();
    }
};

TEST_F(SecretTest, ASuccessfulRequestLogsNoneOfIt)
{
    const Outcome outcome = Post(scripted("/echo"));
    expectSuccess(outcome);
    EXPECT_NE(outcome.response->body.find(std::string("Authorization: ") + kSecret), std::string::npos)
        << "it has arrived, and come back";
    ExpectNoSecretLogged();
}

TEST_F(SecretTest, ARefusalOfTheServerLogsNoneOfIt)
{
    expectSuccess(Post(scripted("/status/403")), 403);
    ExpectNoSecretLogged();
}

TEST_F(SecretTest, AFollowedRedirectLogsNoneOfIt)
{
    expectSuccess(Post(scripted("/redirect?status=307&to=/echo")));
    ExpectNoSecretLogged();
}

TEST_F(SecretTest, ACancelledRequestLogsNoneOfIt)
{
    const RequestRecorder recorder;
    const Transaction transaction =
        client->Post(SecretUrl(scripted("/slow?n=3")), SecretHeaders(), kSecret, recorder.Completion(), true, 30);
    transaction->Cancel();
    EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::CANCELLED);
    ExpectNoSecretLogged();
}

TEST_F(SecretTest, AFailureOnTheWayLogsNoneOfIt)
{
    using TestServers::Certificate;
    const std::string urls[] = {TestServers::url(TestServers::closedPort(), "/"),
                                "http://no-such-host.invalid/",
                                scripted("/close"),
                                scripted("/garbage"),
                                scripted("/reset"),
                                scripted("/loop?status=307"),
                                TestServers::secure(Certificate::SelfSigned, "/"),
                                TestServers::secure(Certificate::Expired, "/"),
                                TestServers::secure(Certificate::WrongHost, "/"),
                                TestServers::secure(Certificate::UnknownAuthority, "/")};
    for (const std::string& url : urls) {
        ExpectFailureWithoutSecret(url, SecretHeaders());
    }
    ExpectFailureWithoutSecret(TestServers::url(TestServers::fullPort(), "/"), SecretHeaders(), 1);
}

TEST_F(SecretTest, ARequestThatCannotBeSentLogsNoneOfIt)
{
    const std::string secret = kSecret;
    const Headers unsendable[] = {{{"X-Ticket", secret + "\r\nX-Injected: yes"}},
                                  {{"X-Ticket", secret + "\xFF"}},
                                  {{"X-Ticket", secret + std::string(1, '\0')}},
                                  {{secret + ":", "value"}}};
    for (const Headers& headers : unsendable) {
        ExpectFailureWithoutSecret(scripted("/echo"), headers);
    }
}

TEST_F(SecretTest, AUrlThatCannotBeParsedIsLoggedWhole)
{
    const std::string url = std::string("http://user:") + kSecret + "@host/";
    EXPECT_EQ(client->Get(url, SecretHeaders(), nullptr, true, 30), nullptr);
    ASSERT_EQ(logger->records().size(), 1U);
    EXPECT_EQ(logger->records()[0].message, "Failed to parse URL: " + url);
}

} // namespace LumTests
