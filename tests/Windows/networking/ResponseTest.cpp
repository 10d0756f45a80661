#include "Windows/networking/TransportTest.h"

#include "support/BodyPattern.h"

#include <fstream>
#include <iterator>

namespace LumTests {

using ::testing::UnorderedElementsAre;
using TestServers::scripted;

class ResponseTest : public TransportTest {};

TEST_F(ResponseTest, AnEmptyBodyIsDelivered)
{
    EXPECT_EQ(GetBody(scripted("/bytes?n=0")), "");
}

TEST_F(ResponseTest, ABodyOfOneNulIsDelivered)
{
    EXPECT_EQ(GetBody(scripted("/bytes?n=1")), std::string(1, '\0'));
}

TEST_F(ResponseTest, BodiesOfAllFramingsAreDeliveredByteForByte)
{
    for (const std::string framing : {"length", "chunked", "close"}) {
        for (const std::size_t size : {0U, 1U, 4095U, 8192U, 65537U, 1000003U}) {
            const Outcome outcome = Get(scripted("/bytes?n=" + std::to_string(size) + "&framing=" + framing));
            expectSuccess(outcome);
            ASSERT_EQ(outcome.response->body.size(), size) << framing;
            EXPECT_TRUE(isBodyPattern(outcome.response->body)) << framing << ' ' << size;
        }
    }
}

TEST_F(ResponseTest, ABodyThatComesByteByByteIsDelivered)
{
    EXPECT_EQ(GetBody(scripted("/slow?n=40&ms=5")), makeBodyPattern(40));
}

TEST_F(ResponseTest, FilesOfAnotherServerAreDeliveredByteForByte)
{
    EXPECT_EQ(GetBody(TestServers::nginx("/empty.bin")), "");
    EXPECT_EQ(GetBody(TestServers::nginx("/one.bin")), makeBodyPattern(1));
    EXPECT_EQ(GetBody(TestServers::nginx("/small.bin")), makeBodyPattern(32));
    EXPECT_EQ(GetBody(TestServers::nginx("/medium.bin")), makeBodyPattern(65536));
    EXPECT_NE(GetBody(TestServers::nginx("/licenses/GPL-3")).find("GNU GENERAL PUBLIC LICENSE"), std::string::npos);
}

TEST_F(ResponseTest, EveryFinalStatusIsASuccess)
{
    for (const int status :
         {200, 201, 206, 300, 400, 401, 403, 404, 405, 409, 410, 416, 418, 429, 500, 502, 503, 599}) {
        const Outcome outcome = Get(scripted("/status/" + std::to_string(status)));
        expectSuccess(outcome, status);
        EXPECT_EQ(headerOf(outcome, "X-Status"), std::to_string(status));
        EXPECT_EQ(outcome.response->body, "status " + std::to_string(status));
    }
}

TEST_F(ResponseTest, StatusesWithoutBodyHaveAnEmptyOne)
{
    for (const int status : {204, 304}) {
        const Outcome outcome = Get(scripted("/status/" + std::to_string(status)));
        expectSuccess(outcome, status);
        EXPECT_EQ(headerOf(outcome, "X-Status"), std::to_string(status));
        EXPECT_EQ(outcome.response->body, "");
    }
}

class InterimResponseTest : public ResponseTest, public ::testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(AllInterim, InterimResponseTest, ::testing::Values(100, 102, 103),
                         ::testing::PrintToStringParamName());

TEST_P(InterimResponseTest, IsSkipped)
{
    for (const char* const variant : {"", "&bare", "&count=2"}) {
        const Outcome outcome = Get(scripted("/interim?close&status=" + std::to_string(GetParam()) + variant));
        if (Quirks::kTakesInterimForFinal) {
            EXPECT_FALSE(outcome.response && outcome.response->statusCode == 200);
            continue;
        }
        expectSuccess(outcome, 200);
        EXPECT_EQ(outcome.response->body, "final");
        EXPECT_EQ(headerOf(outcome, "X-Final"), "yes");
        EXPECT_EQ(outcome.response->headers.count("X-Interim"), 0U);
    }
}

TEST_F(ResponseTest, ThreeHundredHeadersAreDelivered)
{
    const Outcome outcome = Get(scripted("/headers/many?n=300"));
    expectSuccess(outcome);
    // And Content-Length.
    EXPECT_EQ(outcome.response->headers.size(), 301U);
    for (int index = 0; index < 300; ++index) {
        EXPECT_EQ(headerOf(outcome, "X-Header-" + std::to_string(index)), "value-" + std::to_string(index));
    }
    EXPECT_EQ(outcome.response->body, "many");
}

TEST_F(ResponseTest, AHeaderOfSixtyKibibytesIsDelivered)
{
    const Outcome outcome = Get(scripted("/headers/large?n=61440"));
    expectSuccess(outcome);
    const std::string line = "X-Large: " + std::string(61440, 'a');
    EXPECT_EQ("X-Large: " + headerOf(outcome, "X-Large"), line.substr(0, Quirks::kLongestHeaderLine));
    EXPECT_EQ(outcome.response->body, "large");
}

TEST_F(ResponseTest, HeadersOfTwoHundredKibibytesAreDelivered)
{
    const Outcome outcome = Get(TestServers::scripted("/headers/many?n=6500"));
    expectSuccess(outcome);
    EXPECT_EQ(headerOf(outcome, "X-Header-6499"), "value-6499");
}

TEST_F(ResponseTest, OfARepeatedHeaderTheLastValueIsKept)
{
    const Outcome outcome = Get(scripted("/headers/repeated"));
    expectSuccess(outcome);
    EXPECT_EQ(headerOf(outcome, "X-Repeated"), "second");
    EXPECT_EQ(headerOf(outcome, "X-Other"), "other");
}

TEST_F(ResponseTest, AFoldedHeaderIsOneValue)
{
    const Outcome outcome = Get(scripted("/headers/folded?close"));
    expectSuccess(outcome);
    if (Quirks::kEndsHeadersAtLineWithoutColon) {
        EXPECT_EQ(headerOf(outcome, "X-Folded"), "first");
        EXPECT_EQ(outcome.response->body, "X-After: after\r\nContent-Length: 5\r\n\r\nlines");
        return;
    }
    EXPECT_EQ(headerOf(outcome, "X-Folded"), "first second");
    EXPECT_EQ(headerOf(outcome, "X-After"), "after");
    EXPECT_EQ(outcome.response->body, "lines");
}

TEST_F(ResponseTest, AHeaderWithoutValueIsEmpty)
{
    const Outcome outcome = Get(scripted("/headers/novalue"));
    expectSuccess(outcome);
    EXPECT_EQ(headerOf(outcome, "X-Empty"), "");
    EXPECT_EQ(headerOf(outcome, "X-Blank"), "");
    EXPECT_EQ(headerOf(outcome, "X-After"), "after");
    EXPECT_EQ(outcome.response->body, "lines");
}

TEST_F(ResponseTest, NamesAndValuesAreTrimmedAndSplitAtTheFirstColon)
{
    const Outcome outcome = Get(scripted("/headers/spaces"));
    expectSuccess(outcome);
    EXPECT_EQ(headerOf(outcome, "X-Spaces"), "value with  spaces");
    EXPECT_EQ(headerOf(outcome, "X-Colons"), "a:b: c");
}

TEST_F(ResponseTest, HeaderBytesOutsideAsciiBecomeUtf8)
{
    const Outcome outcome = Get(scripted("/headers/bytes"));
    expectSuccess(outcome);
    EXPECT_EQ(headerOf(outcome, "X-Latin"), "caf\xC3\xA9");
    EXPECT_EQ(headerOf(outcome, "X-Utf8"), "caf\xC3\x83\xC2\xA9");
    EXPECT_EQ(headerOf(outcome, "X-After"), "after");
}

TEST_F(ResponseTest, AHeaderLineWithoutColonIsNoHttp)
{
    const Outcome outcome = Get(scripted("/headers/nocolon?close"));
    if (Quirks::kEndsHeadersAtLineWithoutColon) {
        expectSuccess(outcome);
        EXPECT_EQ(headerOf(outcome, "X-Before"), "before");
        EXPECT_EQ(outcome.response->headers.size(), 1U);
        return;
    }
    expectFailure(outcome, *logger, kRequestError, 12152);
}

TEST_F(ResponseTest, AFieldThatIsNamedLikeAStatusLineIsAField)
{
    const Outcome outcome = GetRaw("HTTP/1.1 200 OK\r\nX: 1\r\nHTTP/1.1: 2\r\nContent-Length: 0\r\n\r\n");
    expectSuccess(outcome);
    EXPECT_EQ(headerOf(outcome, "X"), "1");
    EXPECT_EQ(headerOf(outcome, "HTTP/1.1"), "2");
}

TEST_F(ResponseTest, AStatusOfMoreThanThreeDigitsIsNoHttp)
{
    expectFailure(GetRaw("HTTP/26744 1\r\n\r\nx"), *logger, kRequestError, 12152);
}

TEST_F(ResponseTest, StatusAndEndOfBodyAreLogged)
{
    expectSuccess(Get(scripted("/status/404")), 404);
    const std::vector<LogRecord> records = logger->records();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].format, "HTTP status code is %d");
    EXPECT_EQ(records[0].message, "HTTP status code is 404");
    EXPECT_EQ(records[0].line, 105U);
    EXPECT_EQ(records[1].format, "Response body is read successfully.");
    EXPECT_EQ(records[1].message, "Response body is read successfully.");
    EXPECT_EQ(records[1].line, 136U);
    for (const LogRecord& record : records) {
        EXPECT_EQ(record.level, LumUtils::LumLogLevel::Info);
        EXPECT_EQ(record.function, "LumNetworking::WinHttpAsyncCallback");
        EXPECT_PRED2(endsWithPath, record.file, "src/Windows/networking/WinHttpClientAsync.cpp");
        EXPECT_NE(record.thread, std::this_thread::get_id());
    }
}

TEST_F(ResponseTest, AnAnswerThatComesBeforeTheUploadIsReadIsDelivered)
{
    const Outcome outcome = Run([&](const LumNetworking::HttpCompletion& completion) {
        return client->Post(scripted("/early?status=413"), {}, std::string(200000, 'x'), completion, true, 30);
    });
    expectSuccess(outcome, 413);
    EXPECT_EQ(outcome.response->body, "early");
}

} // namespace LumTests
