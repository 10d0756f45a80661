#include "Windows/networking/TransportTest.h"

#include "support/BodyPattern.h"
#include "support/ProcessResources.h"

#include <chrono>

namespace LumTests {

using LumNetworking::HttpCompletion;
using TestServers::Certificate;
using TestServers::scripted;

/// Failures after the request was started.
class NetworkFailureTest : public TransportTest {
protected:
    void ExpectFailureOf(const std::string& url, int platformCode)
    {
        logger->clear();
        SCOPED_TRACE(url);
        const Outcome outcome = Get(url);
        expectFailure(outcome, *logger, kRequestError, platformCode);
        EXPECT_NE(outcome.thread, std::this_thread::get_id());
    }

    /// The server sends so many bytes of the pattern, and less than it announced.
    void ExpectShortBodyOf(const std::string& url, std::size_t sent)
    {
        if (!Quirks::kAcceptsShortBodies) {
            ExpectFailureOf(url, 12030);
            return;
        }
        const Outcome outcome = Get(url);
        expectSuccess(outcome);
        EXPECT_EQ(outcome.response->body, makeBodyPattern(sent));
    }
};

TEST_F(NetworkFailureTest, ANameThatDoesNotExistIsNotResolved)
{
    ExpectFailureOf("http://no-such-host.invalid/", 12007);
}

TEST_F(NetworkFailureTest, ANewConnectionAfterALookUpIsServed)
{
    // The connection gets the descriptors that the look-up has just closed.
    for (int round = 0; round < 5; ++round) {
        ExpectFailureOf("http://no-such-host.invalid/", 12007);
        const auto start = std::chrono::steady_clock::now();
        expectSuccess(Get(scripted("/bytes?n=3&framing=close"), {}, true, 5));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    }
}

TEST_F(NetworkFailureTest, ANameOutsideAsciiIsNotResolved)
{
    LumNetworking::UrlComponents url = components("http://host.invalid/");
    url.host = "b\xC3\xBC"
               "cher.invalid";
    expectFailure(Get(url), *logger, kRequestError, 12007);
}

TEST_F(NetworkFailureTest, AClosedPortRefusesTheConnection)
{
    ExpectFailureOf(TestServers::url(TestServers::closedPort(), "/"), 12029);
    ExpectFailureOf("http://[::1]:" + std::to_string(TestServers::closedPort()) + "/", 12029);
}

TEST_F(NetworkFailureTest, TheLowestAndTheHighestPortAreTried)
{
    ExpectFailureOf("http://127.0.0.1:1/", 12029);
    ExpectFailureOf("http://127.0.0.1:65535/", 12029);
}

TEST_F(NetworkFailureTest, AConnectionThatIsNotAcceptedTimesOut)
{
    const auto start = std::chrono::steady_clock::now();
    expectFailure(Get(TestServers::url(TestServers::fullPort(), "/"), {}, true, 1), *logger, kRequestError, 12002);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, std::chrono::milliseconds(900));
    EXPECT_LT(elapsed, std::chrono::seconds(20));
}

TEST_F(NetworkFailureTest, AResetBeforeTheAnswer)
{
    ExpectFailureOf(scripted("/reset?at=start"), 12030);
}

TEST_F(NetworkFailureTest, AResetInTheMiddleOfTheBody)
{
    ExpectFailureOf(scripted("/reset?at=body"), 12030);
}

TEST_F(NetworkFailureTest, ACloseBeforeTheAnswer)
{
    ExpectFailureOf(scripted("/close"), 12030);
}

TEST_F(NetworkFailureTest, ABodyShorterThanItsLength)
{
    for (const std::size_t sent : {0U, 10U, 999U}) {
        ExpectShortBodyOf(scripted("/short?n=1000&sent=" + std::to_string(sent)), sent);
    }
}

TEST_F(NetworkFailureTest, ABodyThatEndsInTheMiddleOfAChunk)
{
    ExpectShortBodyOf(scripted("/short?framing=chunked&sent=10"), 10);
}

TEST_F(NetworkFailureTest, HeadersThatEndBeforeTheEmptyLine)
{
    if (Quirks::kAcceptsShortHeaders) {
        expectSuccess(Get(scripted("/shortheaders")));
        return;
    }
    ExpectFailureOf(scripted("/shortheaders"), 12030);
}

TEST_F(NetworkFailureTest, GarbageInsteadOfHttp)
{
    ExpectFailureOf(scripted("/garbage"), 12152);
}

TEST_F(NetworkFailureTest, AStatusIsLoggedBeforeTheBodyFails)
{
    ExpectFailureOf(scripted("/reset?at=body"), 12030);
    const std::vector<LogRecord> infos = logger->recordsOfLevel(LumUtils::LumLogLevel::Info);
    ASSERT_EQ(infos.size(), 1U);
    EXPECT_EQ(infos[0].message, "HTTP status code is 200");
}

TEST_F(NetworkFailureTest, AFalseLengthCostsNoMemory)
{
    expectSuccess(Get(scripted("/bytes?n=100")));
    const std::size_t before = usedMemory();
    for (const char* const length : {"4294967296", "1099511627776", "9223372036854775807"}) {
        ExpectShortBodyOf(scripted(std::string("/short?sent=100&n=") + length), 100);
    }
    EXPECT_LT(usedMemory(), before + (std::size_t{32} << 20U));
}

TEST_F(NetworkFailureTest, EveryMethodReportsAFailure)
{
    const std::string url = TestServers::url(TestServers::closedPort(), "/");
    const Starter starters[] = {
        [&](const HttpCompletion& completion) { return client->Get(url, {}, completion, true, 30); },
        [&](const HttpCompletion& completion) { return client->Post(url, {}, "b", completion, true, 30); },
        [&](const HttpCompletion& completion) { return client->Put(url, {}, "b", completion, true, 30); },
        [&](const HttpCompletion& completion) { return client->Patch(url, {}, "b", completion, true, 30); },
        [&](const HttpCompletion& completion) { return client->Delete(url, {}, completion, true, 30); }};
    for (const Starter& starter : starters) {
        logger->clear();
        expectFailure(Run(starter), *logger, kRequestError, 12029);
    }
}

TEST_F(NetworkFailureTest, WithoutCompletionAFailureIsLogged)
{
    const Transaction transaction =
        client->Get(TestServers::url(TestServers::closedPort(), "/"), {}, nullptr, true, 30);
    ASSERT_TRUE(transaction);
    EXPECT_TRUE(waitUntil([&] { return logger->recordsOfLevel(LumUtils::LumLogLevel::Error).size() == 1; }));
}

TEST_F(NetworkFailureTest, TheClientGoesOnAfterAFailure)
{
    for (const char* const path : {"/reset?at=start", "/reset?at=body", "/garbage", "/close"}) {
        EXPECT_EQ(Get(scripted(path)).result, LumNetworking::HttpRequestResult::FAILED);
        EXPECT_EQ(GetBody(scripted("/bytes?n=1000")), makeBodyPattern(1000));
    }
}

TEST_F(NetworkFailureTest, ASelfSignedCertificateIsRejected)
{
    ExpectFailureOf(TestServers::secure(Certificate::SelfSigned, "/small.bin"), 12175);
}

TEST_F(NetworkFailureTest, ACertificateOfAnotherHostIsRejected)
{
    ExpectFailureOf(TestServers::secure(Certificate::WrongHost, "/small.bin"), 12175);
}

TEST_F(NetworkFailureTest, AnExpiredCertificateIsRejected)
{
    ExpectFailureOf(TestServers::secure(Certificate::Expired, "/small.bin"), 12175);
}

TEST_F(NetworkFailureTest, ACertificateOfAnUnknownAuthorityIsRejected)
{
    ExpectFailureOf(TestServers::secure(Certificate::UnknownAuthority, "/small.bin"), 12175);
}

TEST_F(NetworkFailureTest, ASecureRequestToAPlainServerFails)
{
    ExpectFailureOf("https://127.0.0.1:" + std::to_string(TestServers::nginxPort()) + "/", 12157);
}

} // namespace LumTests
