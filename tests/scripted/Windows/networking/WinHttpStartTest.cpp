#include "scripted/Windows/networking/ScriptedRequest.h"

#include <limits>

namespace {

using LumNetworking::HttpRequestResult;
using LumNetworking::UrlComponents;
using LumTests::Scripted::ExpectedFailure;
using LumTests::Scripted::kHelperFile;
using LumTests::Scripted::kTransportFile;
using LumTests::Scripted::ThrowingLogger;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class WinHttpStartTest : public LumTests::Scripted::ScriptedRequest {
protected:
    ~WinHttpStartTest() override { finish(); }

    /// Ends the running request, if there is one.
    void finish()
    {
        if (transaction && outcomes.empty() && platform.context() != 0) {
            platform.deliverRequestError(ERROR_WINHTTP_SHUTDOWN);
        }
        transaction.reset();
    }

    std::string onlyCall(const std::string& name) const
    {
        const std::vector<std::string> found = platform.calls(name + "(");
        EXPECT_EQ(found.size(), 1U) << name;
        return found.empty() ? std::string() : found.front();
    }

    std::string callOf(const UrlComponents& target, const std::string& name)
    {
        url = target;
        startGet();
        return onlyCall(name);
    }

    /// A failure while starting: reported before the operation returns, which still returns the transaction.
    void expectStartFailure(int code, DWORD platformCode, const std::string& apiName)
    {
        startGet();
        ASSERT_NE(transaction, nullptr);
        expectFailed({code, platformCode, apiName, kTransportFile, "HandleHttpAsyncFailure", 186});
        EXPECT_EQ(recorder->records().size(), 1U);
    }
};

TEST_F(WinHttpStartTest, MakesTheCallsInOrderWithTheirArguments)
{
    startGet();
    EXPECT_THAT(
        platform.calls(),
        ElementsAre(
            "WinHttpOpen(agent=null, access=4, proxy=null, bypass=null, flags=0x10000000)",
            "WinHttpSetStatusCallback(session, callback=set, notifications=0x97e0c00, reserved=0x0)",
            "WinHttpConnect(session, host=\"example.org\", port=0, reserved=0x0)",
            "WinHttpOpenRequest(connection, verb=\"GET\", object=\"/\", version=null, referrer=null, accept=null, "
            "flags=0x100)",
            "WinHttpSetOption(request, option=3, value=30000, size=4)",
            "WinHttpSetOption(request, option=88, value=2, size=4)",
            "WinHttpSendRequest(request, headers=null, headersLength=0, body=null, bodyLength=0, totalLength=0, "
            "context=set)"));
    EXPECT_TRUE(outcomes.empty());
    EXPECT_THAT(recorder->records(), IsEmpty());
}

TEST_F(WinHttpStartTest, SecureRequestHasTheSecureFlagToo)
{
    url.isSecure = true;
    EXPECT_THAT(callOf(url, "WinHttpOpenRequest"), HasSubstr("flags=0x800100)"));
}

TEST_F(WinHttpStartTest, PortIsPassedOn)
{
    for (const std::uint32_t port : {1U, 80U, 65535U}) {
        url.port = port;
        startGet();
        EXPECT_THAT(platform.calls("WinHttpConnect").back(), HasSubstr("port=" + std::to_string(port) + ","));
        finish();
        outcomes.clear();
    }
}

TEST_F(WinHttpStartTest, HostIsPassedAsUtf16)
{
    url.host = "b\xC3\xBC"
               "cher.\xF0\x9F\x98\x80";
    EXPECT_THAT(callOf(url, "WinHttpConnect"), HasSubstr("host=\"b\\u00FCcher.\\uD83D\\uDE00\""));
}

TEST_F(WinHttpStartTest, BracketedHostKeepsItsBrackets)
{
    url.host = "[::1]";
    EXPECT_THAT(callOf(url, "WinHttpConnect"), HasSubstr("host=\"[::1]\""));
}

TEST_F(WinHttpStartTest, ObjectNameIsThePathAndTheEncodedParameters)
{
    struct Row {
        std::string path;
        std::map<std::string, std::string> parameters;
        std::string object;
    };
    const std::vector<Row> rows{
        {"", {}, "/"},
        {"/", {}, "/"},
        {"/a/b", {}, "/a/b"},
        {"a", {}, "/a"},
        {"", {{"k", "v"}}, "/?k=v"},
        {"/a", {{"k", "x y&z"}}, "/a?k=x%20y%26z"},
        {"a", {{"b", ""}, {"a", "="}}, "/a?a=%3D&b="},
        {"/%20", {{"\xC3\xBC", "\xFF"}}, "/%20?%C3%BC=%FF"},
        {"/\xC3\xBC", {}, "/\\u00FC"},
    };
    for (const Row& row : rows) {
        url.path = row.path;
        url.queryParameters = row.parameters;
        startGet();
        EXPECT_THAT(platform.calls("WinHttpOpenRequest").back(), HasSubstr(", object=\"" + row.object + "\","));
        finish();
        outcomes.clear();
    }
}

TEST_F(WinHttpStartTest, EachOperationHasItsVerbAndItsBody)
{
    const std::string body("b\0\xFF", 3);
    const auto expectSent = [&](const char* verb, const std::string& sentBody) {
        EXPECT_THAT(platform.calls("WinHttpOpenRequest").back(), HasSubstr(std::string("verb=\"") + verb + "\""));
        EXPECT_THAT(platform.calls("WinHttpSendRequest").back(), HasSubstr(sentBody));
        finish();
        outcomes.clear();
    };
    const std::string withBody = "body=\"b\\0\\u00FF\", bodyLength=3, totalLength=3,";
    const std::string withoutBody = "body=null, bodyLength=0, totalLength=0,";
    transaction = client.Get(url, {}, completion(), true, 30);
    expectSent("GET", withoutBody);
    transaction = client.Post(url, {}, body, completion(), true, 30);
    expectSent("POST", withBody);
    transaction = client.Put(url, {}, body, completion(), true, 30);
    expectSent("PUT", withBody);
    transaction = client.Patch(url, {}, body, completion(), true, 30);
    expectSent("PATCH", withBody);
    transaction = client.Delete(url, {}, completion(), true, 30);
    expectSent("DELETE", withoutBody);
    transaction = client.Post(url, {}, "", completion(), true, 30);
    expectSent("POST", withoutBody);
}

TEST_F(WinHttpStartTest, HeadersAreOneBlock)
{
    headers = {{"B", "2"}, {"A", "1"}, {"X-Empty", ""}, {"X-Euro", "\xE2\x82\xAC"}};
    startGet();
    EXPECT_THAT(onlyCall("WinHttpSendRequest"),
                HasSubstr("headers=\"A: 1\\r\\nB: 2\\r\\nX-Empty: \\r\\nX-Euro: \\u20AC\\r\\n\", headersLength=34,"));
}

TEST_F(WinHttpStartTest, TimeoutIsFourBytesOfMilliseconds)
{
    const std::vector<std::pair<int, std::string>> rows{
        {30, "30000"},
        {0, "0"},
        {1, "1000"},
        {-1, "4294966296"},
        {2147483, "2147483000"},
        {2147484, "2147484000"},
        {std::numeric_limits<int>::max(), "4294966296"},
        {std::numeric_limits<int>::min(), "0"},
    };
    for (const auto& [seconds, milliseconds] : rows) {
        timeoutSeconds = seconds;
        startGet();
        const std::vector<std::string> options = platform.calls("WinHttpSetOption(request, option=3,");
        EXPECT_EQ(options.back(), "WinHttpSetOption(request, option=3, value=" + milliseconds + ", size=4)");
        finish();
        outcomes.clear();
    }
    EXPECT_THAT(platform.calls("WinHttpSetTimeouts"), IsEmpty());
}

TEST_F(WinHttpStartTest, RedirectPolicyIsAlwaysOrNever)
{
    followRedirects = false;
    startGet();
    EXPECT_EQ(platform.calls("WinHttpSetOption").back(), "WinHttpSetOption(request, option=88, value=0, size=4)");
    finish();
    outcomes.clear();
    followRedirects = true;
    startGet();
    EXPECT_EQ(platform.calls("WinHttpSetOption").back(), "WinHttpSetOption(request, option=88, value=2, size=4)");
}

TEST_F(WinHttpStartTest, FailingOpenIsCodeSix)
{
    platform.failCall("WinHttpOpen", 1, ERROR_WINHTTP_INTERNAL_ERROR);
    expectStartFailure(6, ERROR_WINHTTP_INTERNAL_ERROR, "WinHttpOpen");
    EXPECT_EQ(platform.countOf("WinHttpSetStatusCallback"), 0);
    expectHandlesCloseWithTheTransaction(0);
}

TEST_F(WinHttpStartTest, FailingSetStatusCallbackIsCodeSix)
{
    platform.failCall("WinHttpSetStatusCallback", 1, ERROR_INVALID_HANDLE);
    expectStartFailure(6, ERROR_INVALID_HANDLE, "WinHttpSetStatusCallback");
    EXPECT_EQ(platform.countOf("WinHttpConnect"), 0);
    expectHandlesCloseWithTheTransaction(1);
}

TEST_F(WinHttpStartTest, FailingConnectIsCodeSix)
{
    platform.failCall("WinHttpConnect", 1, ERROR_NOT_ENOUGH_MEMORY);
    expectStartFailure(6, ERROR_NOT_ENOUGH_MEMORY, "WinHttpConnect");
    EXPECT_EQ(platform.countOf("WinHttpOpenRequest"), 0);
    expectHandlesCloseWithTheTransaction(1);
}

TEST_F(WinHttpStartTest, FailingOpenRequestIsCodeSix)
{
    platform.failCall("WinHttpOpenRequest", 1, ERROR_NOT_ENOUGH_MEMORY);
    expectStartFailure(6, ERROR_NOT_ENOUGH_MEMORY, "WinHttpOpenRequest");
    EXPECT_EQ(platform.countOf("WinHttpSetOption"), 0);
    expectHandlesCloseWithTheTransaction(2);
}

TEST_F(WinHttpStartTest, FailingTimeoutIsCodeTwelveAndReportedOnce)
{
    platform.failCall("WinHttpSetOption", 1, ERROR_INVALID_PARAMETER);
    startGet();
    expectFailed({12, ERROR_INVALID_PARAMETER, "WinHttpSetOption", kHelperFile, "SetTimeoutForRequest", 128});
    EXPECT_EQ(platform.countOf("WinHttpSetOption"), 1);
    EXPECT_EQ(platform.countOf("WinHttpSendRequest"), 0);
    EXPECT_EQ(recorder->records().size(), 1U);
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpStartTest, FailingRedirectPolicyIsCodeTwelveAndReportedOnce)
{
    platform.failCall("WinHttpSetOption", 2, ERROR_WINHTTP_INCORRECT_HANDLE_TYPE);
    startGet();
    expectFailed({12, ERROR_WINHTTP_INCORRECT_HANDLE_TYPE, "WinHttpSetOption", kHelperFile,
                  "SetShouldFollowRedirectsForRequest", 143});
    EXPECT_EQ(platform.countOf("WinHttpSendRequest"), 0);
    EXPECT_EQ(recorder->records().size(), 1U);
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpStartTest, FailingSendIsCodeSeven)
{
    platform.failCall("WinHttpSendRequest", 1, ERROR_WINHTTP_SHUTDOWN);
    expectStartFailure(7, ERROR_WINHTTP_SHUTDOWN, "WinHttpSendRequest");
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpStartTest, InvalidUtf8IsNeverSent)
{
    struct Row {
        std::string host;
        std::string path;
        std::map<std::string, std::string> headers;
        ExpectedFailure failure;
    };
    const auto failure = [](int code, const char* apiName) {
        return ExpectedFailure{code,           ERROR_NO_UNICODE_TRANSLATION, apiName,
                               kTransportFile, "HandleHttpAsyncFailure",     186};
    };
    const std::vector<Row> rows{{"\xFF", "/", {}, failure(6, "WinHttpConnect")},
                                {"h", "/\xC3", {}, failure(6, "WinHttpOpenRequest")},
                                {"h", "/", {{"A", "\xFF"}}, failure(7, "WinHttpSendRequest")}};
    for (const Row& row : rows) {
        url.host = row.host;
        url.path = row.path;
        headers = row.headers;
        startGet();
        expectFailed(row.failure);
        EXPECT_EQ(platform.countOf("WinHttpSendRequest"), 0);
        outcomes.clear();
        recorder->clear();
    }
}

TEST_F(WinHttpStartTest, TextWithANulIsNeverSentInPart)
{
    const std::string nul("a\0b", 3);
    const auto expectRefused = [this](int code, const char* apiName) {
        expectStartFailure(code, ERROR_INVALID_PARAMETER, apiName);
        EXPECT_EQ(platform.countOf("WinHttpSendRequest"), 0);
        outcomes.clear();
        recorder->clear();
    };
    url.host = nul;
    expectRefused(6, "WinHttpConnect");
    url.host = "h";
    url.path = nul;
    expectRefused(6, "WinHttpOpenRequest");
    url.path = "/";
    headers = {{"A", nul}};
    expectRefused(7, "WinHttpSendRequest");
}

TEST_F(WinHttpStartTest, HeaderNameThatIsNoneIsRefused)
{
    for (const char* const name : {"", "A:B", ":", "A\r\nB", "A\n", "\rA"}) {
        headers = {{"Fine", "1"}, {name, "2"}};
        expectStartFailure(7, ERROR_INVALID_PARAMETER, "WinHttpSendRequest");
        EXPECT_EQ(platform.countOf("WinHttpSendRequest"), 0);
        outcomes.clear();
        recorder->clear();
    }
}

TEST_F(WinHttpStartTest, PortThatIsNoneIsRefused)
{
    for (const std::uint32_t port : {65536U, 0x10050U, 0xFFFFFFFEU}) {
        url.port = port;
        expectStartFailure(6, ERROR_INVALID_PARAMETER, "WinHttpConnect");
        EXPECT_EQ(platform.countOf("WinHttpConnect"), 0);
        outcomes.clear();
        recorder->clear();
    }
}

TEST_F(WinHttpStartTest, EmptyCompletionDropsTheErrorAndLogsNothing)
{
    for (const char* const name :
         {"WinHttpOpen", "WinHttpSetStatusCallback", "WinHttpConnect", "WinHttpOpenRequest", "WinHttpSendRequest"}) {
        platform.failCall(name, platform.countOf(name) + 1, ERROR_WINHTTP_SHUTDOWN);
        const auto handle = client.Get(url, headers, nullptr, true, 30);
        EXPECT_NE(handle, nullptr);
        EXPECT_THAT(recorder->records(), IsEmpty()) << name;
        EXPECT_EQ(platform.countOf("FormatMessageA"), 0);
    }
    EXPECT_EQ(platform.openHandles(), 0U);
}

TEST_F(WinHttpStartTest, EmptyCompletionDropsTheReportedErrorOfAnOption)
{
    platform.failCall("WinHttpSetOption", 1, ERROR_INVALID_PARAMETER);
    EXPECT_NE(client.Get(url, headers, nullptr, true, 30), nullptr);
    ASSERT_EQ(recorder->records().size(), 1U);
    EXPECT_EQ(recorder->records()[0].function, "SetTimeoutForRequest");
    EXPECT_EQ(platform.openHandles(), 0U);
}

TEST_F(WinHttpStartTest, ThrowingLoggerDoesNotHideTheErrorOfARequestThatCannotStart)
{
    LumNetworking::WinHttpClientAsync throwingClient(std::make_shared<ThrowingLogger>());
    for (const char* const name : {"WinHttpOpen", "WinHttpSetStatusCallback", "WinHttpConnect", "WinHttpOpenRequest",
                                   "WinHttpSetOption", "WinHttpSendRequest"}) {
        outcomes.clear();
        platform.failCall(name, platform.countOf(name) + 1, ERROR_WINHTTP_SHUTDOWN);
        EXPECT_NO_THROW(transaction = throwingClient.Get(url, headers, completion(), true, 30)) << name;
        ASSERT_EQ(outcomes.size(), 1U) << name;
        EXPECT_EQ(outcomes[0].result, HttpRequestResult::FAILED);
        EXPECT_NE(outcomes[0].error, nullptr) << name;
    }
}

TEST_F(WinHttpStartTest, CompletionOfAStartFailureMayStartTheNextRequest)
{
    platform.failCall("WinHttpConnect", 1, ERROR_WINHTTP_SHUTDOWN);
    std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> next;
    const auto first = client.Get(
        url, headers, [&](auto&&...) { next = client.Get(url, headers, completion(), true, 30); }, true, 30);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(next, nullptr);
    platform.deliverWholeResponse();
    expectSuccess(200, "");
}

TEST_F(WinHttpStartTest, DroppedTransactionOfAStartFailureLeavesNothingOpen)
{
    platform.failCall("WinHttpSendRequest", 1, ERROR_WINHTTP_SHUTDOWN);
    client.Get(url, headers, completion(), true, 30);
    ASSERT_EQ(outcomes.size(), 1U);
    outcomes.clear();
    EXPECT_EQ(platform.openHandles(), 0U);
}

TEST_F(WinHttpStartTest, HandlesAreClosedChildBeforeParent)
{
    startGet();
    platform.deliverWholeResponse();
    outcomes.clear();
    transaction.reset();
    EXPECT_THAT(
        platform.calls("WinHttpCloseHandle"),
        ElementsAre("WinHttpCloseHandle(request)", "WinHttpCloseHandle(connection)", "WinHttpCloseHandle(session)"));
}

TEST_F(WinHttpStartTest, SendGoesThroughTheTransport)
{
    class Request : public LumNetworking::ILumUrlRequest {
    public:
        const UrlComponents& GetUrlComponents() override { return components; }
        LumNetworking::HttpMethod GetMethod() override { return LumNetworking::HttpMethod::Patch; }
        const std::map<std::string, std::string>& GetHeaders() override { return fields; }
        const std::vector<std::uint8_t>& GetBody() override { return body; }
        UrlComponents components;
        std::map<std::string, std::string> fields{{"A", "1"}};
        std::vector<std::uint8_t> body{0, 255};
    };
    const auto request = std::make_shared<Request>();
    request->components.host = "h";
    transaction = client.Send(request, completion(), true, 30);
    EXPECT_THAT(onlyCall("WinHttpOpenRequest"), HasSubstr("verb=\"PATCH\", object=\"/\""));
    EXPECT_THAT(onlyCall("WinHttpSendRequest"),
                HasSubstr("headers=\"A: 1\\r\\n\", headersLength=6, body=\"\\0\\u00FF\", bodyLength=2, totalLength=2"));
}

} // namespace
