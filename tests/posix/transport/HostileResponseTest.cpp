#include "Windows/networking/TransportTest.h"

namespace LumTests {

/// Responses that no server of good will sends, of which the reference platform of the tests makes something else.
class HostileResponseTest : public TransportTest {};

TEST_F(HostileResponseTest, AFoldedLineThatNoHeaderPrecedesIsNoHttp)
{
    expectFailure(GetRaw("HTTP/1.1 200 OK\r\n X: 1\r\n\r\n"), *logger, kRequestError, 12152);
}

TEST_F(HostileResponseTest, AStatusLineOfAnotherSpellingIsNoHttp)
{
    for (const char* block : {"http/1.1 200 OK\r\nContent-Length: 0\r\n\r\n", "HtTP/1.1 #20)A\n h0: 1\r\n\r\n",
                              "HTTP/1.1 103 Early Hints\r\n\r\nHttp/1.1 200 OK\r\n X: 1\r\n\r\n"}) {
        SCOPED_TRACE(block);
        logger->clear();
        expectSuccess(GetRaw("HTTP/1.1 200 OK\r\nX-Before: value\r\nContent-Length: 0\r\n\r\n"));
        expectFailure(GetRaw(block), *logger, kRequestError, 12152);
    }
}

TEST_F(HostileResponseTest, AFoldedFirstLineTouchesNothingOfTheResponseBefore)
{
    for (int round = 0; round < 20; ++round) {
        logger->clear();
        expectSuccess(GetRaw("HTTP/1.1 200 OK\r\nX-Before: value\r\nContent-Length: 0\r\n\r\n"));
        expectFailure(GetRaw("HTTP/1.1 200 OK\n X: 1\r\n\r\n"), *logger, kRequestError, 12152);
    }
}

TEST_F(HostileResponseTest, AFoldedFirstLineOfAnInterimOrFinalHeaderBlockTouchesNothingOfTheResponseBefore)
{
    for (const char* blocks : {"HTTP/1.1 100 Continue\r\n\tX: 1\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n",
                               "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n\tX: 1\r\nContent-Length: 0\r\n\r\n",
                               "HTTP/1.1 103 Early Hints\r\nX: 0\r\n\r\nHTTP/1.1 200 OK\r\n X: 1\r\n\r\nbody"}) {
        for (int round = 0; round < 20; ++round) {
            logger->clear();
            expectSuccess(GetRaw("HTTP/1.1 200 OK\r\nX-Before: value\r\nContent-Length: 0\r\n\r\n"));
            expectFailure(GetRaw(blocks), *logger, kRequestError, 12152);
        }
    }
}

TEST_F(HostileResponseTest, AFoldedFirstLineTouchesNothingOfTheRedirectBefore)
{
    const std::string folded = "/raw?bytes=" + TestServers::queryValue("HTTP/1.1 200 OK\n X: 1\r\n\r\n");
    for (int round = 0; round < 20; ++round) {
        logger->clear();
        expectFailure(Get(TestServers::scripted("/redirect?to=" + TestServers::queryValue(folded))), *logger,
                      kRequestError, 12152);
    }
}

} // namespace LumTests
