#include "Windows/networking/TransportTest.h"

#include <sstream>
#include <vector>

namespace LumTests {

/// Responses that no server of good will sends. They are no HTTP; where the platform takes some of them all the same,
/// nothing of a response before gets into them.
class HostileResponseTest : public TransportTest {
protected:
    /// What a server sends.
    struct Row {
        const char* bytes;
        /// What a platform that takes such responses makes of it; the status is 0 if it fails there too.
        int takenStatus;
        Headers takenHeaders;
    };

    void ExpectAnswered() { expectSuccess(GetRaw("HTTP/1.1 200 OK\r\nX-Before: value\r\nContent-Length: 0\r\n\r\n")); }

    void ExpectOutcomeOf(const Row& row, const Outcome& outcome)
    {
        if (!Quirks::kTakesHostileResponses || row.takenStatus == 0) {
            expectFailure(outcome, *logger, kRequestError, 12152);
            return;
        }
        expectSuccess(outcome, row.takenStatus);
        Headers headers;
        for (const auto& header : outcome.response->headers) {
            headers[header.first] = headerOf(outcome, header.first);
        }
        EXPECT_EQ(headers, row.takenHeaders);
    }

    /// Each row, after an ordinary response, as often as that.
    void ExpectOutcomesOf(const std::vector<Row>& rows, int rounds)
    {
        for (const Row& row : rows) {
            SCOPED_TRACE(row.bytes);
            for (int round = 0; round < rounds; ++round) {
                ExpectAnswered();
                logger->clear();
                ExpectOutcomeOf(row, GetRaw(row.bytes));
            }
        }
        ExpectAnswered();
    }
};

TEST_F(HostileResponseTest, AFoldedLineThatNoHeaderPrecedesIsNoHttp)
{
    ExpectOutcomesOf({{"HTTP/1.1 200 OK\r\n X: 1\r\n\r\n", 200, {{"X", "1"}}}}, 1);
}

TEST_F(HostileResponseTest, AStatusLineOfAnotherSpellingIsNoHttp)
{
    ExpectOutcomesOf({{"http/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", 200, {{"Content-Length", "0"}}},
                      {"HtTP/1.1 #20)A\n h0: 1\r\n\r\n", 0, {}},
                      {"HTTP/1.1 103 Early Hints\r\n\r\nHttp/1.1 200 OK\r\n X: 1\r\n\r\n", 103, {}}},
                     1);
}

TEST_F(HostileResponseTest, AFoldedFirstLineTouchesNothingOfTheResponseBefore)
{
    ExpectOutcomesOf({{"HTTP/1.1 200 OK\n X: 1\r\n\r\n", 200, {{"X", "1"}}}}, 20);
}

TEST_F(HostileResponseTest, AFoldedFirstLineOfAnInterimOrFinalHeaderBlockTouchesNothingOfTheResponseBefore)
{
    ExpectOutcomesOf(
        {{"HTTP/1.1 100 Continue\r\n\tX: 1\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", 0, {}},
         {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n\tX: 1\r\nContent-Length: 0\r\n\r\n", 0, {}},
         {"HTTP/1.1 103 Early Hints\r\nX: 0\r\n\r\nHTTP/1.1 200 OK\r\n X: 1\r\n\r\nbody", 103, {{"X", "0"}}}},
        20);
}

TEST_F(HostileResponseTest, AFoldedFirstLineTouchesNothingOfTheRedirectBefore)
{
    const Row row = {"HTTP/1.1 200 OK\n X: 1\r\n\r\n", 200, {{"X", "1"}}};
    const std::string folded = "/raw?bytes=" + TestServers::queryValue(row.bytes);
    for (int round = 0; round < 20; ++round) {
        logger->clear();
        ExpectOutcomeOf(row, Get(TestServers::scripted("/redirect?to=" + TestServers::queryValue(folded))));
    }
}

TEST_F(HostileResponseTest, AFirstLineOfOtherWordsIsNoHttp)
{
    const Outcome outcome = GetRaw("\x01 abc x\r\n\r\n");
    if (Quirks::kTakesAnyLineForStatus) {
        expectSuccess(outcome, 0);
    } else {
        expectFailure(outcome, *logger, kRequestError, 12152);
    }
}

TEST_F(HostileResponseTest, BytesBehindTheEndOfABodyAreNoneOfIt)
{
    const Outcome outcome = GetRaw("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nwholespare");
    expectSuccess(outcome);
    EXPECT_EQ(outcome.response->body, Quirks::kTakesSpareBytesForBody ? "wholespare" : "whole");
}

TEST_F(HostileResponseTest, TheLastChunkMayBeginAnywhereInWhatIsReceivedAtOnce)
{
    constexpr std::size_t kBuffer = 8192;
    const std::string head = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1f00\r\n";
    for (std::size_t place = kBuffer - 6; place <= kBuffer + 6; ++place) {
        SCOPED_TRACE(place);
        const std::string firstChunk(0x1f00, 'a');
        const std::string start = head + firstChunk + "\r\n";
        const std::size_t left = place - start.size() - std::string("00\r\n\r\n").size();
        std::ostringstream chunk;
        chunk << std::hex << left << "\r\n" << std::string(left, 'b') << "\r\n";
        logger->clear();
        const Outcome outcome = GetRaw(start + chunk.str() + "0\r\n\r\n");
        const bool isCut = place >= kBuffer - 3 && place < kBuffer;
        if (isCut && Quirks::kErrorAtLastChunk != 0) {
            // It may be notified, and logged, twice.
            EXPECT_EQ(outcome.result, LumNetworking::HttpRequestResult::FAILED);
            EXPECT_EQ(outcome.response, nullptr);
        } else {
            expectSuccess(outcome);
            EXPECT_EQ(outcome.response->body, firstChunk + std::string(left, 'b'));
        }
    }
}

} // namespace LumTests
