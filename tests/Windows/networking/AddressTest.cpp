#include "Windows/networking/TransportTest.h"

#include <limits>

namespace LumTests {

using LumNetworking::HttpRequestResult;
using LumNetworking::UrlComponents;
using ::testing::Contains;

/// Hosts, ports and time-outs.
class AddressTest : public TransportTest {};

TEST_F(AddressTest, AnIpv6LiteralIsReached)
{
    const Outcome outcome = Get(TestServers::scriptedIpv6("/echo"));
    expectSuccess(outcome);
    EXPECT_THAT(headLines(outcome.response->body),
                Contains("Host: [::1]:" + std::to_string(TestServers::scriptedPort())));
}

TEST_F(AddressTest, BracketsWithAnythingElseAreRefused)
{
    const std::string port = std::to_string(TestServers::scriptedPort());
    for (const std::string& url : {"http://[@127.0.0.1:" + port + "#]:82/echo", "http://[::1%25lo]:" + port + "/echo",
                                   "http://[::1%251]:" + port + "/echo", "http://[fe80::1%25eth0]:" + port + "/echo"}) {
        logger->clear();
        EXPECT_EQ(client->Get(url, {}, nullptr, true, 30), nullptr);
        ASSERT_EQ(logger->records().size(), 1U);
        EXPECT_EQ(logger->records()[0].message, "Failed to parse URL: " + url);
    }
}

TEST_F(AddressTest, ANameIsReached)
{
    const std::string port = std::to_string(TestServers::scriptedPort());
    const Outcome outcome = Get("http://localhost:" + port + "/echo");
    expectSuccess(outcome);
    EXPECT_THAT(headLines(outcome.response->body), Contains("Host: localhost:" + port));
}

/// Which port that is, only a proxy can tell: see DefaultPortTest.
TEST_F(AddressTest, WithoutPortTheWellKnownOneIsTried)
{
    for (const std::uint32_t port : {UrlComponents::kNoPort, 0U}) {
        for (const bool isSecure : {false, true}) {
            UrlComponents url;
            url.isSecure = isSecure;
            // An address of the loopback network at which nobody listens on the well-known ports.
            url.host = "127.77.66.55";
            url.port = port;
            logger->clear();
            expectFailure(Get(url), *logger, kRequestError, 12029);
        }
    }
}

TEST_F(AddressTest, AnyTimeoutIsPassedOn)
{
    for (const int seconds :
         {0, 1, -1, -30, 2147483, 2147484, 4294967, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        SCOPED_TRACE(seconds);
        const Outcome outcome = Get(TestServers::scripted("/bytes?n=3"), {}, true, seconds);
        expectSuccess(outcome);
    }
}

TEST_F(AddressTest, OnlyConnectingIsBounded)
{
    const Outcome outcome = Get(TestServers::scripted("/stall?seconds=2&key=" + TestServers::newKey()), {}, true, 1);
    expectSuccess(outcome);
    EXPECT_EQ(outcome.response->body, "0123456789");
}

} // namespace LumTests
