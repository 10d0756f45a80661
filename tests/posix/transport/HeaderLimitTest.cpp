#include "Windows/networking/TransportTest.h"
#include "support/ProcessResources.h"

namespace LumTests {

/// How much of a response's headers is taken in. Wine 8 has no bound, so that only Linux has the test.
class HeaderLimitTest : public TransportTest {};

TEST_F(HeaderLimitTest, ALongerBlockIsNoResponse)
{
    for (const char* const count : {"12000", "50000"}) {
        logger->clear();
        const Outcome outcome = Get(TestServers::scripted(std::string("/headers/many?n=") + count));
        expectFailure(outcome, *logger, kRequestError, 12152);
    }
}

TEST_F(HeaderLimitTest, HeadersWithoutEndCostLittleMemory)
{
    Get(TestServers::scripted("/headers/many?n=12000"));
    logger->clear();
    const std::size_t before = usedMemory();
    const Outcome outcome = Get(TestServers::scripted("/headers/many?n=1000000"));
    expectFailure(outcome, *logger, kRequestError, 12152);
    EXPECT_LT(usedMemory(), before + (std::size_t{8} << 20U)) << "although 30 MB were sent";
}

TEST_F(HeaderLimitTest, ALineOfTwoHundredKibibytesFailsTheRequest)
{
    const Outcome outcome = Get(TestServers::scripted("/headers/large?n=204800"));
    EXPECT_EQ(outcome.result, LumNetworking::HttpRequestResult::FAILED);
    EXPECT_EQ(outcome.response, nullptr);
}

TEST_F(HeaderLimitTest, TheClientGoesOnAfterwards)
{
    Get(TestServers::scripted("/headers/many?n=50000"));
    expectSuccess(Get(TestServers::scripted("/headers/many?n=10")));
}

} // namespace LumTests
