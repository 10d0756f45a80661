#include "Windows/networking/TransportTest.h"

#include "support/ChildProgram.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

/// What takes a process of its own to see: how it ends, whom the system trusts, and what large bodies and headers
/// cost.

namespace LumTests {

namespace {

int runProbe(const char* way)
{
    return ChildProgram(LUM_TRANSPORT_PROBE, {way}).waitFor(kLongestWait);
}

class ProcessEndTest : public testing::TestWithParam<const char*> {};

TEST_P(ProcessEndTest, NeitherHangsNorCrashes)
{
    EXPECT_EQ(runProbe(GetParam()), 0);
}

INSTANTIATE_TEST_SUITE_P(Ways, ProcessEndTest,
                         testing::Values("silent", "silent-held", "at-once", "in-completion", "completion-runs",
                                         "looking-up"));

TEST(SystemStoreTest, DecidesWhichCertificatesAreGood)
{
    EXPECT_EQ(runProbe("trusted"), 0) << "the probe says on its error stream which is not judged right";
    EXPECT_EQ(runProbe("untrusted"), 0) << "the authority is trusted no more, so its certificates are no good";
}

TEST(OtherSchemeTest, IsAnotherServer)
{
    EXPECT_EQ(runProbe("other-scheme"), 0) << "the probe says on its error stream what the other server has seen";
}

class DefaultPortTest : public TransportTest {};

TEST_F(DefaultPortTest, IsTheOneOfTheScheme)
{
    ASSERT_EQ(runProbe("ports"), 0);
    const std::string tunnelPort = std::to_string(Quirks::kDefaultPortOfTunnels);
    const std::string lines = "\n" + GetBody(TestServers::scripted("/unknown"));
    for (const std::string& line :
         {std::string("GET http://plain-none.invalid/"), std::string("GET http://plain-zero.invalid/"),
          std::string("GET http://plain-own.invalid:443/"), std::string("GET http://lowest.invalid:1/"),
          std::string("GET http://highest.invalid:65535/"), "CONNECT secure-none.invalid:" + tunnelPort,
          "CONNECT secure-zero.invalid:" + tunnelPort, std::string("CONNECT secure-own.invalid:80")}) {
        EXPECT_THAT(lines, ::testing::HasSubstr("\n" + line + " HTTP/1.1\n"));
    }
}

TEST(LargeBodyTest, IsHeldOnce)
{
    EXPECT_EQ(runProbe("large-body"), 0) << "the probe says on its error stream what it cost";
}

TEST(LargeBodyTest, OfUnknownLengthCostsASegmentMore)
{
    EXPECT_EQ(runProbe("large-chunked-body"), 0) << "the probe says on its error stream what it cost";
}

TEST(LargeHeadersTest, CostLittleWhateverIsSent)
{
    EXPECT_EQ(runProbe("large-headers"), 0) << "the probe says on its error stream what they cost";
}

} // namespace

} // namespace LumTests
