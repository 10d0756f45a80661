#include "Windows/networking/TransportTest.h"

namespace LumTests {

/// By what a response says of itself, its end is found: RFC 9112 sections 4 to 6.
class FramingTest : public TransportTest {
protected:
    void ExpectRefused(const std::string& bytes)
    {
        SCOPED_TRACE(bytes);
        logger->clear();
        expectFailure(GetRaw(bytes), *logger, kRequestError, 12152);
    }

    void ExpectBody(const std::string& bytes, const std::string& body)
    {
        SCOPED_TRACE(bytes);
        const Outcome outcome = GetRaw(bytes);
        expectSuccess(outcome);
        EXPECT_EQ(outcome.response->body, body);
    }

    static std::string WithField(const std::string& field)
    {
        return "HTTP/1.1 200 OK\r\n" + field + "\r\n\r\n12345678";
    }
};

TEST_F(FramingTest, ALengthThatIsNoNumberIsNoHttp)
{
    for (const std::string length : {"5, 56", "+5", "-5", "5abc", "1e1", "0x5", "5 5", "5,", ",5", "", "five", "5;q",
                                     "9223372036854775808", "18446744073709551617", "99999999999999999999"}) {
        ExpectRefused(WithField("Content-Length: " + length));
    }
}

TEST_F(FramingTest, LengthsThatDifferAreNoHttp)
{
    ExpectRefused(WithField("Content-Length: 5\r\nContent-Length: 6"));
    ExpectRefused(WithField("Content-Length: 5\r\nX: 1\r\ncontent-length: 4"));
}

TEST_F(FramingTest, ALengthMayBeRepeated)
{
    ExpectBody(WithField("Content-Length: 5"), "12345");
    ExpectBody(WithField("Content-Length:5"), "12345");
    ExpectBody(WithField("Content-Length: \t5 \t"), "12345");
    ExpectBody(WithField("Content-Length: 005"), "12345");
    ExpectBody(WithField("Content-Length: 5, 5"), "12345");
    ExpectBody(WithField("Content-Length: 5\r\ncontent-length: 5"), "12345");
}

TEST_F(FramingTest, AFramingFieldThatIsFoldedIsNoHttp)
{
    ExpectRefused("HTTP/1.1 200 OK\r\nTransfer-Encoding:\r\n chunked\r\n\r\n5\r\n12345\r\n0\r\n\r\n");
    ExpectRefused("HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip,\r\n\tchunked\r\n\r\n5\r\n12345\r\n0\r\n\r\n");
    ExpectRefused(WithField("Content-Length: 1\r\n 5"));
}

TEST_F(FramingTest, AFramingFieldWithABlankBeforeItsColonIsNoHttp)
{
    ExpectRefused("HTTP/1.1 200 OK\r\nTransfer-Encoding : chunked\r\n\r\n5\r\n12345\r\n0\r\n\r\n");
    ExpectRefused(WithField("Content-Length\t: 5"));
}

TEST_F(FramingTest, AStatusLineIsMadeOfItsParts)
{
    for (const std::string line :
         {"HTTP/x 302", "HTTP/-1.1 500", "HTTP/1.x 200 OK", "HTTP/1 200 OK", "HTTP/2 200 OK", "HTTP/2.0 200 OK",
          "HTTP/11.1 200 OK", "HTTP/1.1200 OK", "HTTP/1.1 20 OK", "HTTP/1.1 099 OK", "HTTP/1.1 -20 OK",
          "HTTP/1.1 2x0 OK", "HTTP/1.1 200OK", "HTTP/1.1  200 OK", "HTTP/1.1 2000 OK", "HTTP/1.1", "HTTP/ 200 OK"}) {
        ExpectRefused(line + "\r\nContent-Length: 5\r\n\r\n12345");
    }
}

TEST_F(FramingTest, AStatusLineNeedsNoReason)
{
    for (const std::string line : {"HTTP/1.1 200 OK", "HTTP/1.1 200 ", "HTTP/1.1 200", "HTTP/1.0 200 Fine: yes"}) {
        ExpectBody(line + "\r\nContent-Length: 5\r\n\r\n12345", "12345");
    }
}

class RedirectTargetTest : public TransportTest {
protected:
    static std::string RedirectTo(const std::string& target)
    {
        return TestServers::scripted("/redirect?to=" + TestServers::queryValue(target));
    }
};

TEST_F(RedirectTargetTest, UserInformationBecomesNoCredentials)
{
    const std::string port = std::to_string(TestServers::scriptedPort());
    for (const std::string user : {"user:secret@", "user@", ":secret@"}) {
        const std::string echoed = GetBody(RedirectTo("http://" + user + "127.0.0.1:" + port + "/echo"));
        EXPECT_THAT(echoed, ::testing::StartsWith("GET /echo HTTP/1.1"));
        EXPECT_THAT(echoed, ::testing::Not(::testing::HasSubstr("Authorization")));
    }
}

TEST_F(RedirectTargetTest, AnEmptyOneMakesTheRedirectTheResponse)
{
    const Outcome outcome = Get(TestServers::scripted("/redirect?to="));
    expectSuccess(outcome, 302);
    EXPECT_EQ(outcome.response->body, "redirect");
}

TEST_F(RedirectTargetTest, OneThatIsNoUrlFailsAsARedirect)
{
    for (const std::string target : {"http://[::1/", "http://host:port/", "http://", "http://127.0.0.1:99999/"}) {
        SCOPED_TRACE(target);
        logger->clear();
        expectFailure(Get(RedirectTo(target)), *logger, kRequestError, 12156);
    }
}

TEST_F(RedirectTargetTest, OfAnotherSchemeIsNotFollowed)
{
    for (const std::string target : {"ftp://127.0.0.1/", "file:///etc/passwd"}) {
        SCOPED_TRACE(target);
        logger->clear();
        expectFailure(Get(RedirectTo(target)), *logger, kRequestError, 12152);
    }
}

TEST_F(RedirectTargetTest, IsTakenRelativeToTheUrlAndEncoded)
{
    EXPECT_THAT(GetBody(RedirectTo("echo/a b?q=\xC3\xA9#part")),
                ::testing::StartsWith("GET /echo/a%20b?q=%c3%a9 HTTP/1.1"));
    EXPECT_THAT(GetBody(RedirectTo("//127.0.0.1:" + std::to_string(TestServers::scriptedPort()) + "/echo/../echo")),
                ::testing::StartsWith("GET /echo/../echo HTTP/1.1"));
}

} // namespace LumTests
