#include "Windows/networking/TransportTest.h"

namespace LumTests {

using LumNetworking::HttpCompletion;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using TestServers::Certificate;
using TestServers::queryValue;
using TestServers::scripted;

class RedirectTest : public TransportTest {
protected:
    /// What a caller means for the first server, and a header for all.
    const Headers kFirstServersHeaders = {
        {"Authorization", "secret"}, {"Cookie", "own=secret"}, {"Proxy-Authorization", "secret"}, {"X-Other", "kept"}};
};

class RedirectStatusTest : public RedirectTest, public ::testing::WithParamInterface<int> {
protected:
    std::string RedirectUrl() const { return scripted("/redirect?to=/echo&status=" + std::to_string(GetParam())); }
};

INSTANTIATE_TEST_SUITE_P(AllRedirects, RedirectStatusTest, ::testing::Values(301, 302, 303, 307, 308),
                         ::testing::PrintToStringParamName());

TEST_P(RedirectStatusTest, AGetIsFollowed)
{
    const Outcome outcome = Get(RedirectUrl());
    if (!Quirks::isFollowed(GetParam())) {
        expectSuccess(outcome, GetParam());
        return;
    }
    expectSuccess(outcome);
    EXPECT_EQ(headLines(outcome.response->body).at(0), "GET /echo HTTP/1.1");
    const std::vector<LogRecord> records = logger->records();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].message, "HTTP status code is 200");
}

TEST_P(RedirectStatusTest, WhenNotFollowedTheRedirectItselfIsTheResponse)
{
    const Outcome outcome = Get(RedirectUrl(), {}, /*followRedirects=*/false);
    expectSuccess(outcome, GetParam());
    EXPECT_EQ(headerOf(outcome, "Location"), "/echo");
    EXPECT_EQ(outcome.response->body, "redirect");
}

TEST_P(RedirectStatusTest, WithoutTargetTheRedirectIsTheResponse)
{
    const Outcome outcome = Get(scripted("/status/" + std::to_string(GetParam())));
    if (Quirks::kFailsWithoutRedirectTarget && Quirks::isFollowed(GetParam())) {
        expectFailure(outcome, *logger, kRequestError, 12150);
        return;
    }
    expectSuccess(outcome, GetParam());
    EXPECT_EQ(outcome.response->body, "status " + std::to_string(GetParam()));
}

TEST_P(RedirectStatusTest, APostKeepsItsBodyOnlyWhereTheStatusSaysSo)
{
    const Outcome outcome = Run([&](const HttpCompletion& completion) {
        return client->Post(RedirectUrl(), {{"X-Own", "yes"}}, "body", completion, true, 30);
    });
    if (!Quirks::isFollowed(GetParam())) {
        expectSuccess(outcome, GetParam());
        return;
    }
    const bool staysPost = GetParam() == 307 || GetParam() == 308;
    if (Quirks::kFailsWherePostBecomesGet && !staysPost) {
        expectFailure(outcome, *logger, kRequestError, 0);
        return;
    }
    expectSuccess(outcome);
    const std::string& echoed = outcome.response->body;
    EXPECT_EQ(headLines(echoed).at(0), staysPost ? "POST /echo HTTP/1.1" : "GET /echo HTTP/1.1");
    EXPECT_EQ(echoedBody(echoed), staysPost ? "body" : "");
    EXPECT_THAT(headLines(echoed), Contains("X-Own: yes"));
}

TEST_F(RedirectTest, OnlyTheHeadersOfTheLastResponseAreDelivered)
{
    const Outcome outcome = Get(scripted("/redirect?to=/headers/repeated"));
    expectSuccess(outcome);
    EXPECT_EQ(outcome.response->headers.count("Location"), 0U);
    EXPECT_EQ(headerOf(outcome, "X-Other"), "other");
    EXPECT_EQ(outcome.response->body, "repeated");
}

TEST_F(RedirectTest, StatusesThatAreNoRedirectsAreNotFollowed)
{
    for (const int status : {300, 304, 305, 306}) {
        const std::string url =
            status == 304 ? scripted("/status/304") : scripted("/redirect?to=/echo&status=" + std::to_string(status));
        expectSuccess(Get(url), status);
    }
}

TEST_F(RedirectTest, ARedirectToAnotherServerIsFollowed)
{
    EXPECT_EQ(GetBody(scripted("/redirect?to=" + queryValue(TestServers::nginx("/one.bin")))), std::string(1, '\0'));
}

TEST_F(RedirectTest, ASameServerGetsAllHeadersAgain)
{
    const std::vector<std::string> lines = headLines(GetBody(scripted("/redirect?to=/echo"), kFirstServersHeaders));
    for (const char* const line :
         {"Authorization: secret", "Cookie: own=secret", "Proxy-Authorization: secret", "X-Other: kept"}) {
        EXPECT_THAT(lines, Contains(line));
    }
}

TEST_F(RedirectTest, AnotherPortIsAnotherServer)
{
    const std::string seen =
        GetBody(scripted("/redirect?to=" + queryValue(TestServers::nginx("/seen"))), kFirstServersHeaders);
    EXPECT_THAT(seen, HasSubstr("X-Other: kept\n"));
    if (Quirks::kKeepsSecretsFromOtherServers) {
        EXPECT_EQ(seen, "Host: 127.0.0.1:" + std::to_string(TestServers::nginxPort()) +
                            "\nAuthorization: \nCookie: \nProxy-Authorization: \nX-Other: kept\n");
    } else {
        EXPECT_THAT(seen, HasSubstr("Authorization: secret\nCookie: own=secret\n"));
    }
}

TEST_F(RedirectTest, AHostOfTheCallerIsForTheFirstServerOnly)
{
    const Headers headers = {{"Host", "own.example"}};
    if (Quirks::kSendsHostOfCaller) {
        EXPECT_THAT(headLines(GetBody(scripted("/redirect?to=/echo"), headers)), Contains("Host: own.example"));
    }
    const std::string seen = GetBody(scripted("/redirect?to=" + queryValue(TestServers::nginx("/seen"))), headers);
    EXPECT_THAT(seen, HasSubstr("Host: 127.0.0.1:" + std::to_string(TestServers::nginxPort()) + "\n"));
}

TEST_F(RedirectTest, ARedirectToHttpsIsFollowed)
{
    // It gets as far as the certificate.
    const std::string target = TestServers::secure(Certificate::SelfSigned, "/small.bin");
    expectFailure(Get(scripted("/redirect?to=" + queryValue(target))), *logger, kRequestError, 12175);
}

TEST_F(RedirectTest, ACookieThatARedirectSetsIsSentToItsTarget)
{
    const std::string echoed = GetBody(scripted("/redirect?to=/echo&cookie=" + queryValue("name=value; Path=/")));
    EXPECT_THAT(headLines(echoed), Contains("Cookie: name=value"));
}

TEST_F(RedirectTest, ACookieIsForgottenWithItsRequest)
{
    const std::string cookie = "&cookie=" + queryValue("name=value; Path=/");
    for (int round = 0; round < 10; ++round) {
        // The same connection, and whatever the platform keeps with it, serves them all.
        expectSuccess(Get(scripted("/redirect?to=/echo" + cookie)));
        EXPECT_THAT(headLines(GetBody(scripted("/echo"))), Not(Contains(StartsWith("Cookie:"))));
        expectSuccess(Get(scripted("/redirect?to=/echo" + cookie), {}, /*followRedirects=*/false), 302);
        EXPECT_THAT(headLines(GetBody(scripted("/redirect?to=/echo"))), Not(Contains(StartsWith("Cookie:"))));
    }
}

TEST_F(RedirectTest, TenRedirectsAreFollowed)
{
    EXPECT_EQ(GetBody(scripted("/chain?n=10")), "end of chain");
}

TEST_F(RedirectTest, ElevenRedirectsFail)
{
    expectFailure(Get(scripted("/chain?n=11")), *logger, kRequestError, 12156);
}

TEST_F(RedirectTest, ALoopOfRedirectsFails)
{
    expectFailure(Get(scripted("/loop")), *logger, kRequestError, 12156);
}

TEST_F(RedirectTest, ARedirectToAClosedPortFailsToConnect)
{
    const std::string target = TestServers::url(TestServers::closedPort(), "/");
    expectFailure(Get(scripted("/redirect?to=" + queryValue(target))), *logger, kRequestError, 12029);
}

} // namespace LumTests
