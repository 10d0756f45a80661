#include "Windows/networking/TransportTest.h"

#include "support/BodyPattern.h"

namespace LumTests {

using LumNetworking::HttpCompletion;
using LumNetworking::HttpMethod;
using LumNetworking::UrlComponents;
using ::testing::Contains;
using ::testing::Not;
using ::testing::StartsWith;
using TestServers::scripted;

/// What goes on the wire.
class SentRequestTest : public TransportTest {
protected:
    Outcome Upload(HttpMethod method, const std::string& url, const std::string& body, const Headers& headers = {})
    {
        return Run([&](const HttpCompletion& completion) -> Transaction {
            switch (method) {
            case HttpMethod::Post:
                return client->Post(url, headers, body, completion, true, 30);
            case HttpMethod::Put:
                return client->Put(url, headers, body, completion, true, 30);
            case HttpMethod::Patch:
                return client->Patch(url, headers, body, completion, true, 30);
            case HttpMethod::Get:
                return client->Get(url, headers, completion, true, 30);
            case HttpMethod::Delete:
                return client->Delete(url, headers, completion, true, 30);
            }
            return nullptr;
        });
    }

    std::string RequestLine(const UrlComponents& url)
    {
        const Outcome outcome = Get(url);
        expectSuccess(outcome);
        return headLines(outcome.response->body).at(0);
    }

    static UrlComponents ScriptedUrl(const std::string& path)
    {
        UrlComponents url;
        url.host = "127.0.0.1";
        url.port = TestServers::scriptedPort();
        url.path = path;
        return url;
    }
};

constexpr HttpMethod kUploadMethods[] = {HttpMethod::Post, HttpMethod::Put, HttpMethod::Patch};

TEST_F(SentRequestTest, EveryMethodSendsItsVerb)
{
    for (const HttpMethod method :
         {HttpMethod::Get, HttpMethod::Post, HttpMethod::Put, HttpMethod::Patch, HttpMethod::Delete}) {
        const Outcome outcome = Upload(method, scripted("/echo"), "");
        expectSuccess(outcome);
        const std::vector<std::string> lines = headLines(outcome.response->body);
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines[0], LumNetworking::HttpMethodToString(method) + " /echo HTTP/1.1");
        EXPECT_THAT(lines, Contains("Host: 127.0.0.1:" + std::to_string(TestServers::scriptedPort())));
        EXPECT_EQ(echoedBody(outcome.response->body), "");
    }
}

TEST_F(SentRequestTest, BodiesOfUpToSeveralReadsGoOutUnchanged)
{
    for (const HttpMethod method : kUploadMethods) {
        for (const std::size_t size : {0U, 1U, 2U, 1000U, 65536U, 1000003U}) {
            const std::string body = makeBodyPattern(size);
            const Outcome outcome = Upload(method, scripted("/echo"), body);
            expectSuccess(outcome);
            EXPECT_TRUE(echoedBody(outcome.response->body) == body) << size;
            const bool hasLength = size > 0 || method != HttpMethod::Patch || !Quirks::kSendsNoLengthForEmptyPatch;
            EXPECT_THAT(headLines(outcome.response->body),
                        Contains("Content-Length: " + std::to_string(size)).Times(hasLength ? 1 : 0));
        }
    }
}

TEST_F(SentRequestTest, ABodyOf64MebibytesGoesOutUnchanged)
{
    const std::string body = makeBodyPattern(std::size_t{64} << 20U);
    const std::string expected = std::to_string(body.size()) + " " + std::to_string(checksum(body.data(), body.size()));
    for (const HttpMethod method : kUploadMethods) {
        const Outcome outcome = Upload(method, scripted("/checksum"), body);
        expectSuccess(outcome);
        EXPECT_EQ(outcome.response->body, expected);
    }
}

TEST_F(SentRequestTest, GetAndDeleteSendNoBody)
{
    for (const HttpMethod method : {HttpMethod::Get, HttpMethod::Delete}) {
        const Outcome outcome = Upload(method, scripted("/echo"), "");
        expectSuccess(outcome);
        EXPECT_EQ(outcome.response->body.find("Transfer-Encoding"), std::string::npos);
        EXPECT_EQ(echoedBody(outcome.response->body), "");
    }
}

TEST_F(SentRequestTest, HeadersGoOutUnchanged)
{
    const Headers headers = {{"X-Plain", "value"},
                             {"X-Colons", "a:b: c"},
                             {"x-lower-case", "inner  spaces"},
                             {"Authorization", "Bearer abc=="},
                             {"Content-Type", "application/json; charset=utf-8"},
                             {"User-Agent", "own/1.0"},
                             {"Accept", "text/html"}};
    const Outcome outcome = Upload(HttpMethod::Post, scripted("/echo"), "{}", headers);
    expectSuccess(outcome);
    const std::vector<std::string> lines = headLines(outcome.response->body);
    for (const auto& [name, value] : headers) {
        EXPECT_THAT(lines, Contains(name + ": " + value));
    }
}

TEST_F(SentRequestTest, WhiteSpaceBeforeAHeadersValueGoesOut)
{
    const std::vector<std::string> lines = headLines(GetBody(scripted("/echo"), {{"X-Spaces", "  value"}}));
    EXPECT_THAT(lines, Contains(Quirks::kTrimsSentHeaders ? "X-Spaces: value" : "X-Spaces:   value"));
}

TEST_F(SentRequestTest, AHeaderWithoutValueGoesOut)
{
    const std::vector<std::string> lines = headLines(GetBody(scripted("/echo"), {{"X-Empty", ""}}));
    EXPECT_THAT(lines, Contains(::testing::AnyOf("X-Empty:", "X-Empty: ")));
}

TEST_F(SentRequestTest, NothingIsSentThatTheCallerDidNotGive)
{
    const std::vector<std::string> lines = headLines(GetBody(scripted("/echo")));
    for (const char* const name :
         {"User-Agent:", "Accept:", "Accept-Encoding:", "Content-Type:", "Expect:", "Cookie:"}) {
        EXPECT_THAT(lines, Not(Contains(StartsWith(name))));
    }
}

TEST_F(SentRequestTest, NothingIsAddedToALargeUpload)
{
    const std::string body(std::size_t{3} << 20U, 'x');
    for (const HttpMethod method : kUploadMethods) {
        const Outcome outcome = Upload(method, scripted("/echo"), body);
        expectSuccess(outcome);
        const std::vector<std::string> lines = headLines(outcome.response->body);
        for (const char* const name : {"User-Agent:", "Accept:", "Accept-Encoding:", "Content-Type:", "Expect:",
                                       "Transfer-Encoding:", "Cookie:"}) {
            EXPECT_THAT(lines, Not(Contains(StartsWith(name))));
        }
    }
}

TEST_F(SentRequestTest, CachesAreBypassed)
{
    const std::vector<std::string> lines = headLines(GetBody(scripted("/echo")));
    EXPECT_THAT(lines, Contains("Pragma: no-cache"));
    EXPECT_THAT(lines, Contains("Cache-Control: no-cache"));
}

TEST_F(SentRequestTest, EveryTokenCharacterMayStandInAHeaderName)
{
    Headers headers;
    for (unsigned int byte = 0; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        if (isTokenCharacter(character)) {
            // With its number, so that no two names differ in case only.
            headers[std::string("X") + character + std::to_string(byte)] = "value";
        }
    }
    ASSERT_EQ(headers.size(), 77U);
    const std::vector<std::string> lines = headLines(GetBody(scripted("/echo"), headers));
    for (const auto& [name, value] : headers) {
        EXPECT_THAT(lines, Contains(name + ": " + value));
    }
}

TEST_F(SentRequestTest, EveryAsciiByteButLineEndsAndNulMayStandInAHeaderValue)
{
    Headers headers;
    for (char character = 1; character < 0x7F; ++character) {
        if (character != '\r' && character != '\n') {
            headers["X-" + std::to_string(character)] = std::string("a") + character + "b";
        }
    }
    headers["X-127"] = "a\x7F"
                       "b";
    const std::vector<std::string> lines = headLines(GetBody(scripted("/echo"), headers));
    for (const auto& [name, value] : headers) {
        EXPECT_THAT(lines, Contains(name + ": " + value));
    }
}

TEST_F(SentRequestTest, AHeaderOfManyKibibytesGoesOut)
{
    const std::string value(60 << 10, 'v');
    EXPECT_THAT(headLines(GetBody(scripted("/echo"), {{"X-Large", value}})), Contains("X-Large: " + value));
}

TEST_F(SentRequestTest, HeaderTextOutsideAsciiIsNotLost)
{
    const Outcome outcome = Get(scripted("/echo"), {{"X-Name", "caf\xC3\xA9"}});
    expectSuccess(outcome);
    EXPECT_THAT(headLines(outcome.response->body), Contains("X-Name: caf\xC3\xA9"));
}

TEST_F(SentRequestTest, AnEmptyPathIsTheRoot)
{
    EXPECT_EQ(RequestLine(ScriptedUrl("")), "GET / HTTP/1.1");
}

TEST_F(SentRequestTest, APathWithoutSlashGetsOne)
{
    EXPECT_EQ(RequestLine(ScriptedUrl("echo")), "GET /echo HTTP/1.1");
}

TEST_F(SentRequestTest, AQueryAloneFollowsTheRoot)
{
    UrlComponents url = ScriptedUrl("");
    url.queryParameters = {{"a b", "c&d"}, {"e", ""}};
    EXPECT_EQ(RequestLine(url), "GET /?a%20b=c%26d&e= HTTP/1.1");
}

TEST_F(SentRequestTest, PathAndQueryGoOutEncoded)
{
    UrlComponents url = ScriptedUrl("/echo/a");
    url.queryParameters = {{"caf\xC3\xA9", "1+1=2"}};
    EXPECT_EQ(RequestLine(url), "GET /echo/a?caf%C3%A9=1%2B1%3D2 HTTP/1.1");
}

TEST_F(SentRequestTest, AQueryGoesOutAsTheModelHasIt)
{
    EXPECT_EQ(RequestLine(components(scripted("/echo?q=a+b&id=2&id=1&flag"))), "GET /echo?flag=&id=1&q=a%2Bb HTTP/1.1");
    EXPECT_EQ(RequestLine(components(scripted("/echo?z=%41b%2b~&a=100%&=x"))),
              "GET /echo?=x&a=100%25&z=Ab%2B~ HTTP/1.1");
}

TEST_F(SentRequestTest, AQueryWithinThePathGoesOutAsItIs)
{
    EXPECT_EQ(RequestLine(ScriptedUrl("/echo?q=a+b&id=2&id=1&flag")), "GET /echo?q=a+b&id=2&id=1&flag HTTP/1.1");
}

TEST_F(SentRequestTest, EscapesOfThePathStayAsTheyAre)
{
    EXPECT_EQ(RequestLine(ScriptedUrl("/echo/a%2Fb%20c%zz")), "GET /echo/a%2Fb%20c%zz HTTP/1.1");
}

TEST_F(SentRequestTest, PathBytesOutsideAsciiAreEncoded)
{
    EXPECT_EQ(RequestLine(ScriptedUrl("/echo/caf\xC3\xA9 x")), "GET /echo/caf%C3%A9%20x HTTP/1.1");
}

TEST_F(SentRequestTest, DotSegmentsStayInThePath)
{
    EXPECT_EQ(RequestLine(ScriptedUrl("/echo/../echo")), "GET /echo/../echo HTTP/1.1");
}

TEST_F(SentRequestTest, SendPassesMethodHeadersAndBodyOn)
{
    class Request : public LumNetworking::ILumUrlRequest {
    public:
        const UrlComponents& GetUrlComponents() override { return url; }
        HttpMethod GetMethod() override { return HttpMethod::Patch; }
        const Headers& GetHeaders() override { return headers; }
        const std::vector<std::uint8_t>& GetBody() override { return body; }

        UrlComponents url = ScriptedUrl("/echo");
        Headers headers = {{"X-Own", "yes"}};
        std::vector<std::uint8_t> body = {'a', 0, 'b'};
    };
    const auto request = std::make_shared<Request>();
    const Outcome outcome =
        Run([&](const HttpCompletion& completion) { return client->Send(request, completion, true, 30); });
    expectSuccess(outcome);
    EXPECT_EQ(headLines(outcome.response->body).at(0), "PATCH /echo HTTP/1.1");
    EXPECT_THAT(headLines(outcome.response->body), Contains("X-Own: yes"));
    EXPECT_EQ(echoedBody(outcome.response->body), std::string("a\0b", 3));
}

} // namespace LumTests
