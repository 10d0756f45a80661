#include "Windows/networking/TransportTest.h"

namespace LumTests {

using TestServers::scripted;

/// How much of a response's headers is taken in, where there is a bound; else all of it is.
class HeaderLimitTest : public TransportTest {
protected:
    static std::string ManyLines(int count) { return scripted("/headers/many?n=" + std::to_string(count)); }
    /// A block of 300 KB.
    static std::string LongLines() { return ManyLines(300) + "&length=1000"; }

    /// There is no response, or one with all the lines.
    void ExpectOutcomeOf(int lines, const Outcome& outcome)
    {
        if (Quirks::kBoundsHeaders) {
            expectFailure(outcome, *logger, kRequestError, 12152);
            return;
        }
        expectSuccess(outcome);
        EXPECT_EQ(outcome.response->headers.size(), static_cast<std::size_t>(lines) + 1) << "and Content-Length";
    }

    /// There is no response, or one with as much of the line as the platform keeps.
    static void ExpectOutcomeOfLargeLine(const Outcome& outcome)
    {
        if (Quirks::kBoundsHeaders) {
            EXPECT_EQ(outcome.result, LumNetworking::HttpRequestResult::FAILED);
            EXPECT_EQ(outcome.response, nullptr);
            return;
        }
        expectSuccess(outcome);
        EXPECT_EQ(("X-Large: " + headerOf(outcome, "X-Large")).size(), Quirks::kLongestHeaderLine);
        EXPECT_EQ(outcome.response->body, "large");
    }
};

TEST_F(HeaderLimitTest, ALongerBlockIsNoResponse)
{
    const Outcome outcome = Get(LongLines());
    ExpectOutcomeOf(300, outcome);
    if (outcome.response) {
        EXPECT_EQ(headerOf(outcome, "X-Header-299"), "value-299" + std::string(1000, 'a'));
    }
}

TEST_F(HeaderLimitTest, ABlockOfManyLinesIsNoResponse)
{
    for (const int count : Quirks::kManyHeaderLines) {
        logger->clear();
        ExpectOutcomeOf(count, Get(ManyLines(count)));
    }
}

TEST_F(HeaderLimitTest, ALineOfTwoHundredKibibytesFailsTheRequest)
{
    ExpectOutcomeOfLargeLine(Get(scripted("/headers/large?n=204800")));
}

TEST_F(HeaderLimitTest, TheClientGoesOnAfterwards)
{
    Get(LongLines());
    Get(ManyLines(Quirks::kManyHeaderLines[0]));
    expectSuccess(Get(ManyLines(10)));
}

} // namespace LumTests
