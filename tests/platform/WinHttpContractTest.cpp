#include "PlatformQuirks.h"
#include "platform/WinHttpExchange.h"
#include "support/TestServers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

/// What the transport relies on. Every test states a fact of the reference platform, and holds for its own calls as for
/// those of the project's layer.

namespace {

using namespace LumTests;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using TestServers::Certificate;

std::vector<HINTERNET> closedHandles(const WinHttpExchange& exchange)
{
    std::vector<HINTERNET> handles;
    for (const SeenNotification& notification : exchange.Seen()) {
        if (notification.status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING) {
            handles.push_back(notification.handle);
        }
    }
    return handles;
}

using Step = std::pair<HINTERNET, DWORD>;

/// All that was notified but the reading of the body, and the making of handles where that cannot be told of all.
std::vector<Step> stepsOfAllHandles(const WinHttpExchange& exchange)
{
    std::vector<Step> steps;
    for (const SeenNotification& notification : exchange.Seen()) {
        const bool isOfBody = notification.status == WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE ||
                              notification.status == WINHTTP_CALLBACK_STATUS_READ_COMPLETE;
        const bool isUnknown =
            !Quirks::kTellsOfHandlesThatAreKnown && notification.status == WINHTTP_CALLBACK_STATUS_HANDLE_CREATED;
        if (!isOfBody && !isUnknown) {
            steps.emplace_back(notification.handle, notification.status);
        }
    }
    return steps;
}

/// The request line of a request that the server has echoed.
std::string requestLine(const std::string& echoed)
{
    return echoed.substr(0, echoed.find("\r\n"));
}

TEST(WinHttpContractTest, NotificationsFollowOneAnother)
{
    WinHttpExchange exchange(toScripted("/bytes?n=100000"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_THAT(exchange.Steps(),
                ElementsAre(WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE, WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE,
                            WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE, WINHTTP_CALLBACK_STATUS_READ_COMPLETE));
    EXPECT_EQ(exchange.Body().size(), 100000U);
    EXPECT_EQ(exchange.Seen().back().value, 0U) << "the last one says that there is no more data";
}

TEST(WinHttpContractTest, EveryReadFollowsAnAnnouncementOfAtLeastItsLength)
{
    WinHttpExchange exchange(toScripted("/bytes?n=300000"));
    ASSERT_TRUE(exchange.Run());
    DWORD announced = 0;
    for (const SeenNotification& notification : exchange.Seen()) {
        if (notification.status == WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE) {
            announced = notification.value;
        } else if (notification.status == WINHTTP_CALLBACK_STATUS_READ_COMPLETE) {
            EXPECT_GT(notification.value, 0U);
            EXPECT_LE(notification.value, announced);
        }
    }
}

TEST(WinHttpContractTest, ReadingLessThanIsAvailableLosesNothing)
{
    WinHttpExchange::Settings settings = toScripted("/bytes?n=10000");
    settings.readSize = 7;
    WinHttpExchange small(settings);
    WinHttpExchange whole(toScripted("/bytes?n=10000"));
    ASSERT_TRUE(small.Run());
    ASSERT_TRUE(whole.Run());
    EXPECT_EQ(small.Body(), whole.Body());
    EXPECT_EQ(small.Body().size(), 10000U);
}

TEST(WinHttpContractTest, NotificationsCarryTheContextOfTheSend)
{
    WinHttpExchange exchange(toScripted("/bytes?n=1"));
    ASSERT_TRUE(exchange.Run());
    const HINTERNET request = exchange.Request();
    exchange.Close();
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, request));
    for (const SeenNotification& notification : exchange.Seen()) {
        const bool isOfRequest = notification.handle == request;
        if (isOfRequest && notification.status != WINHTTP_CALLBACK_STATUS_HANDLE_CREATED) {
            EXPECT_EQ(notification.context, reinterpret_cast<DWORD_PTR>(&exchange)) << notification.status;
        }
    }
}

TEST(WinHttpContractTest, StepsComeOnAnotherThreadThanTheCallers)
{
    WinHttpExchange exchange(toScripted("/bytes?n=1000"));
    ASSERT_TRUE(exchange.Run());
    for (const SeenNotification& notification : exchange.Seen()) {
        if (notification.status != WINHTTP_CALLBACK_STATUS_HANDLE_CREATED) {
            EXPECT_NE(notification.thread, std::this_thread::get_id()) << notification.status;
        }
    }
}

TEST(WinHttpContractTest, HandlesCloseFromTheRequestUp)
{
    WinHttpExchange exchange(toScripted("/bytes?n=1"));
    ASSERT_TRUE(exchange.Run());
    const HINTERNET request = exchange.Request();
    const HINTERNET connection = exchange.Connection();
    const HINTERNET session = exchange.Session();
    exchange.Close();
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, session));
    EXPECT_THAT(closedHandles(exchange), ElementsAre(request, connection, session));
}

TEST(WinHttpContractTest, EveryHandleIsCreatedBeforeAndClosedAfterAllElse)
{
    WinHttpExchange exchange(toScripted("/bytes?n=100"));
    const HINTERNET request = exchange.Request();
    const HINTERNET connection = exchange.Connection();
    const HINTERNET session = exchange.Session();
    ASSERT_TRUE(exchange.Run());
    exchange.Close();
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, session));
    std::vector<Step> expected;
    if (Quirks::kTellsOfHandlesThatAreKnown) {
        expected = {{connection, WINHTTP_CALLBACK_STATUS_HANDLE_CREATED},
                    {request, WINHTTP_CALLBACK_STATUS_HANDLE_CREATED}};
    }
    expected.insert(expected.end(), {{request, WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE},
                                     {request, WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE},
                                     {request, WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING},
                                     {connection, WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING},
                                     {session, WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING}});
    EXPECT_EQ(stepsOfAllHandles(exchange), expected);
}

TEST(WinHttpContractTest, NothingComesAfterTheClosing)
{
    WinHttpExchange exchange(toScripted("/bytes?n=200000"));
    const HINTERNET request = exchange.Request();
    const HINTERNET session = exchange.Session();
    ASSERT_TRUE(exchange.Send());
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE));
    exchange.Close();
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, session));
    const std::vector<SeenNotification> seen = exchange.Seen();
    const auto closing = std::find_if(seen.begin(), seen.end(), [&](const SeenNotification& notification) {
        return notification.handle == request && notification.status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING;
    });
    ASSERT_NE(closing, seen.end());
    EXPECT_TRUE(std::none_of(closing + 1, seen.end(),
                             [&](const SeenNotification& notification) { return notification.handle == request; }));
}

TEST(WinHttpContractTest, ARequestThatIsNeverSentIsClosedToo)
{
    WinHttpExchange exchange(toScripted("/"));
    const HINTERNET request = exchange.Request();
    exchange.Close();
    EXPECT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, request));
}

TEST(WinHttpContractTest, SendingIsCompleteBeforeTheServerAnswers)
{
    // The server would go on long after the wait has been given up.
    const std::string seconds = Quirks::kTellsOfSendingBeforeTheAnswer ? "60" : "1";
    WinHttpExchange exchange(toScripted("/stall?key=contract-sent&seconds=" + seconds));
    ASSERT_TRUE(exchange.Send());
    EXPECT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE));
    WinHttpExchange release(toScripted("/release?key=contract-sent"));
    ASSERT_TRUE(release.Run());
    ASSERT_TRUE(exchange.WaitForEnd());
    EXPECT_EQ(exchange.Body(), "0123456789");
}

TEST(WinHttpContractTest, HeadersAreAvailableBeforeTheBodyIsComplete)
{
    WinHttpExchange exchange(toScripted("/stall?key=contract-body&at=body&seconds=60"));
    ASSERT_TRUE(exchange.Send());
    EXPECT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE));
    EXPECT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_READ_COMPLETE)) << "what has come can be read";
    WinHttpExchange release(toScripted("/release?key=contract-body"));
    ASSERT_TRUE(release.Run());
    ASSERT_TRUE(exchange.WaitForEnd());
    EXPECT_EQ(exchange.Body(), "0123456789");
}

TEST(WinHttpContractTest, RawHeadersTellTheirSizeFirst)
{
    WinHttpExchange exchange(toScripted("/headers/repeated"));
    ASSERT_TRUE(exchange.Run());
    DWORD size = 0;
    EXPECT_FALSE(WinHttpQueryHeaders(exchange.Request(), WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX,
                                     WINHTTP_NO_OUTPUT_BUFFER, &size, WINHTTP_NO_HEADER_INDEX));
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    LumUtils::WideString block(size / sizeof(WCHAR), WCHAR{});
    DWORD written = size;
    ASSERT_TRUE(WinHttpQueryHeaders(exchange.Request(), WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX,
                                    block.data(), &written, WINHTTP_NO_HEADER_INDEX));
    EXPECT_EQ(written, size - sizeof(WCHAR)) << "the first size has room for a NUL, the second does not count it";
    EXPECT_EQ(block.back(), WCHAR{});
}

TEST(WinHttpContractTest, RawHeadersAreTheWholeBlockOfTheResponse)
{
    WinHttpExchange exchange(toScripted("/headers/repeated"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_THAT(exchange.RawHeaders(), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(exchange.RawHeaders(), HasSubstr("X-Repeated: first\r\nX-Repeated: second\r\nX-Other: other\r\n"));
    EXPECT_THAT(exchange.RawHeaders(), EndsWith("\r\n\r\n"));
}

TEST(WinHttpContractTest, TheStatusIsANumber)
{
    WinHttpExchange exchange(toScripted("/status/404"));
    ASSERT_TRUE(exchange.Run());
    DWORD status = 0;
    DWORD size = sizeof(status);
    ASSERT_TRUE(WinHttpQueryHeaders(exchange.Request(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                                    WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX));
    EXPECT_EQ(status, 404U);
    EXPECT_EQ(size, sizeof(status));
}

TEST(WinHttpContractTest, HeaderBytesBecomeTheCodeUnitsOfTheirValues)
{
    WinHttpExchange exchange(toScripted("/headers/bytes"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_THAT(exchange.RawHeaders(), HasSubstr("X-Latin: caf\xC3\xA9\r\n"));
}

TEST(WinHttpContractTest, HeadersCannotBeReadBeforeTheyArrive)
{
    WinHttpExchange exchange(toScripted("/"));
    DWORD size = 0;
    EXPECT_FALSE(WinHttpQueryHeaders(exchange.Request(), WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX,
                                     WINHTTP_NO_OUTPUT_BUFFER, &size, WINHTTP_NO_HEADER_INDEX));
    EXPECT_EQ(GetLastError(), ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
}

TEST(WinHttpContractTest, AClosedHandleIsInvalid)
{
    WinHttpExchange exchange(toScripted("/"));
    const HINTERNET request = exchange.Request();
    const HINTERNET connection = exchange.Connection();
    exchange.Close();
    DWORD value = 0;
    char byte = 0;
    const auto expectInvalid = [](bool succeeded, const char* call) {
        const DWORD error = GetLastError();
        EXPECT_FALSE(succeeded) << call;
        EXPECT_EQ(error, ERROR_INVALID_HANDLE) << call;
    };
    expectInvalid(WinHttpSetOption(request, WINHTTP_OPTION_CONNECT_TIMEOUT, &value, sizeof(value)), "SetOption");
    expectInvalid(WinHttpSendRequest(request, nullptr, 0, nullptr, 0, 0, 0), "SendRequest");
    expectInvalid(WinHttpReceiveResponse(request, nullptr), "ReceiveResponse");
    expectInvalid(WinHttpQueryDataAvailable(request, nullptr), "QueryDataAvailable");
    expectInvalid(WinHttpReadData(request, &byte, 1, nullptr), "ReadData");
    expectInvalid(WinHttpQueryHeaders(request, WINHTTP_QUERY_RAW_HEADERS_CRLF, nullptr, nullptr, &value, nullptr),
                  "QueryHeaders");
    expectInvalid(WinHttpOpenRequest(connection, LumUtils::utf8ToUtf16("GET").c_str(), nullptr, nullptr, nullptr,
                                     nullptr, WINHTTP_FLAG_REFRESH) != nullptr,
                  "OpenRequest");
    expectInvalid(WinHttpCloseHandle(request), "CloseHandle");
}

TEST(WinHttpContractTest, AHandleOfAnotherTypeIsRefused)
{
    WinHttpExchange exchange(toScripted("/"));
    EXPECT_EQ(WinHttpConnect(exchange.Request(), LumUtils::utf8ToUtf16("localhost").c_str(), 80, 0), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_WINHTTP_INCORRECT_HANDLE_TYPE);
    EXPECT_FALSE(WinHttpSendRequest(exchange.Connection(), nullptr, 0, nullptr, 0, 0, 0));
    EXPECT_EQ(GetLastError(), ERROR_WINHTTP_INCORRECT_HANDLE_TYPE);
}

TEST(WinHttpContractTest, ValuesThatWereNeverHandlesAreInvalid)
{
    for (const std::uintptr_t value : {std::uintptr_t{0}, std::uintptr_t{0x7FFFFFF0}, ~std::uintptr_t{0}}) {
        EXPECT_FALSE(WinHttpCloseHandle(reinterpret_cast<HINTERNET>(value)));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
}

TEST(WinHttpContractTest, WhatACallNeedsMustBeThere)
{
    WinHttpExchange exchange(toScripted("/"));
    EXPECT_EQ(WinHttpConnect(exchange.Session(), nullptr, 80, 0), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER) << "no host";
    EXPECT_FALSE(WinHttpSetOption(exchange.Request(), WINHTTP_OPTION_CONNECT_TIMEOUT, nullptr, sizeof(DWORD)));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER) << "no value";
}

TEST(WinHttpContractTest, WhatWasNotSentHasNoResponse)
{
    WinHttpExchange exchange(toScripted("/"));
    if (Quirks::kRefusesToReceiveBeforeSending) {
        EXPECT_FALSE(WinHttpReceiveResponse(exchange.Request(), nullptr));
        EXPECT_EQ(GetLastError(), ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
    } else {
        EXPECT_TRUE(WinHttpReceiveResponse(exchange.Request(), nullptr));
        ASSERT_TRUE(exchange.WaitForEnd());
        EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
    }
}

/// Looks at the result of a call that comes too early or too late.
void expectOutOfTurn(BOOL succeeded, const char* what)
{
    const DWORD error = GetLastError();
    EXPECT_EQ(succeeded == FALSE, Quirks::kRefusesCallsOutOfTurn) << what;
    if (succeeded == FALSE) {
        EXPECT_EQ(error, ERROR_WINHTTP_INCORRECT_HANDLE_STATE) << what;
    }
}

TEST(WinHttpContractTest, CallsOutOfTurnAreRefused)
{
    WinHttpExchange::Settings held = toScripted("/bytes?n=10");
    held.receives = false;
    char byte = 0;
    WinHttpExchange exchange(held);
    expectOutOfTurn(WinHttpQueryDataAvailable(exchange.Request(), nullptr), "query before send");
    ASSERT_TRUE(exchange.Send());
    ASSERT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE));
    DWORD value = 1;
    expectOutOfTurn(WinHttpSetOption(exchange.Request(), WINHTTP_OPTION_CONNECT_TIMEOUT, &value, sizeof(value)),
                    "option after send");
    expectOutOfTurn(WinHttpReadData(exchange.Request(), &byte, 1, nullptr), "read before receive");
    expectOutOfTurn(WinHttpSendRequest(exchange.Request(), nullptr, 0, nullptr, 0, 0, 0), "second send");
}

TEST(WinHttpContractTest, ANameThatIsNoHostNameIsNotResolved)
{
    for (const char* const host : {"", "a b", "user@127.0.0.1", "127.0.0.1/path", "127.0.0.1?query", "a%41"}) {
        SCOPED_TRACE(host);
        WinHttpExchange::Settings settings = toScripted("/status/201");
        settings.host = host;
        WinHttpExchange exchange(settings);
        ASSERT_TRUE(exchange.Run());
        if (!Quirks::kEmptyHostIsNone && settings.host.empty()) {
            EXPECT_EQ(exchange.Status(), 201U);
        } else {
            EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_NAME_NOT_RESOLVED);
        }
    }
}

TEST(WinHttpContractTest, TimeoutAndRedirectPolicyCanBeSet)
{
    WinHttpExchange exchange(toScripted("/"));
    for (const DWORD milliseconds : {DWORD{0}, DWORD{30000}, DWORD{0x7FFFFFFF}, DWORD{0xFFFFFC18}, DWORD{0xFFFFFFFF}}) {
        DWORD value = milliseconds;
        EXPECT_TRUE(WinHttpSetOption(exchange.Request(), WINHTTP_OPTION_CONNECT_TIMEOUT, &value, sizeof(value)));
    }
    for (const DWORD policy :
         {DWORD{WINHTTP_OPTION_REDIRECT_POLICY_NEVER}, DWORD{WINHTTP_OPTION_REDIRECT_POLICY_ALWAYS}}) {
        DWORD value = policy;
        EXPECT_TRUE(WinHttpSetOption(exchange.Request(), WINHTTP_OPTION_REDIRECT_POLICY, &value, sizeof(value)));
    }
}

TEST(WinHttpContractTest, ARefusedConnectionFailsTheSend)
{
    WinHttpExchange::Settings settings;
    settings.port = TestServers::closedPort();
    WinHttpExchange exchange(settings);
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_CANNOT_CONNECT);
    EXPECT_EQ(exchange.Failure().call, DWORD_PTR{API_SEND_REQUEST});
    EXPECT_THAT(exchange.Steps(), ElementsAre(WINHTTP_CALLBACK_STATUS_REQUEST_ERROR));
}

TEST(WinHttpContractTest, AnUnknownNameFailsTheSend)
{
    WinHttpExchange::Settings settings;
    settings.host = "no-such-host.invalid";
    settings.port = 80;
    WinHttpExchange exchange(settings);
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_NAME_NOT_RESOLVED);
    EXPECT_EQ(exchange.Failure().call, DWORD_PTR{API_SEND_REQUEST});
}

TEST(WinHttpContractTest, AConnectionThatIsNotAcceptedTimesOut)
{
    WinHttpExchange::Settings settings;
    settings.port = TestServers::fullPort();
    settings.connectTimeout = 500;
    WinHttpExchange exchange(settings);
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_TIMEOUT);
    EXPECT_EQ(exchange.Failure().call, DWORD_PTR{API_SEND_REQUEST});
}

TEST(WinHttpContractTest, ABadCertificateFailsTheSend)
{
    for (const Certificate certificate :
         {Certificate::SelfSigned, Certificate::WrongHost, Certificate::Expired, Certificate::UnknownAuthority}) {
        WinHttpExchange::Settings settings;
        settings.isSecure = true;
        settings.port = TestServers::securePort(certificate);
        WinHttpExchange exchange(settings);
        ASSERT_TRUE(exchange.Run());
        EXPECT_EQ(exchange.Failure().value, Quirks::kErrorOfBadCertificate) << settings.port;
        EXPECT_EQ(exchange.Failure().call, DWORD_PTR{API_SEND_REQUEST});
        EXPECT_THAT(exchange.Steps(), ElementsAre(WINHTTP_CALLBACK_STATUS_REQUEST_ERROR));
    }
}

TEST(WinHttpContractTest, APlainServerFailsASecureSend)
{
    WinHttpExchange::Settings settings;
    settings.isSecure = true;
    settings.port = TestServers::nginxPort();
    WinHttpExchange exchange(settings);
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_SECURE_CHANNEL_ERROR);
    EXPECT_EQ(exchange.Failure().call, DWORD_PTR{API_SEND_REQUEST});
}

TEST(WinHttpContractTest, AnInvalidResponseFailsTheReceive)
{
    WinHttpExchange exchange(toScripted("/garbage"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
    EXPECT_EQ(exchange.Failure().call, DWORD_PTR{API_RECEIVE_RESPONSE});
    EXPECT_THAT(exchange.Steps(),
                ElementsAre(WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE, WINHTTP_CALLBACK_STATUS_REQUEST_ERROR));
}

TEST(WinHttpContractTest, AResetBeforeTheAnswerFailsTheReceive)
{
    WinHttpExchange exchange(toScripted("/reset"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(exchange.Failure().value, Quirks::kErrorOfReset);
    EXPECT_EQ(exchange.Failure().call, DWORD_PTR{API_RECEIVE_RESPONSE});
}

TEST(WinHttpContractTest, EndlessRedirectsFailTheReceive)
{
    WinHttpExchange exchange(toScripted("/loop"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_REDIRECT_FAILED);
    EXPECT_EQ(exchange.Failure().call, DWORD_PTR{API_RECEIVE_RESPONSE});
}

TEST(WinHttpContractTest, TheLastErrorIsSetBeforeTheErrorNotification)
{
    WinHttpExchange exchange(toScripted("/garbage"));
    ASSERT_TRUE(exchange.Run());
    if (Quirks::kNotifiesWithLastError) {
        EXPECT_EQ(exchange.Failure().lastError, exchange.Failure().value);
    } else {
        EXPECT_NE(exchange.Failure().lastError, exchange.Failure().value);
    }
}

TEST(WinHttpContractTest, RedirectsAreFollowedAsThePolicySays)
{
    WinHttpExchange::Settings settings = toScripted("/redirect?to=/status/201");
    settings.redirectPolicy = WINHTTP_OPTION_REDIRECT_POLICY_NEVER;
    WinHttpExchange never(settings);
    WinHttpExchange always(toScripted("/redirect?to=/status/201"));
    ASSERT_TRUE(never.Run());
    ASSERT_TRUE(always.Run());
    EXPECT_EQ(never.Status(), 302U);
    EXPECT_THAT(never.RawHeaders(), HasSubstr("Location: /status/201\r\n"));
    EXPECT_EQ(always.Status(), 201U);
    EXPECT_THAT(always.RawHeaders(), Not(HasSubstr("Location")));
}

TEST(WinHttpContractTest, ARedirectedPutIsSentAgainAsItWas)
{
    for (const char* const status : {"301", "302", "307"}) {
        WinHttpExchange::Settings settings = toScripted(std::string("/redirect?to=/echo&status=") + status);
        settings.verb = "PUT";
        settings.body = "content";
        WinHttpExchange exchange(settings);
        ASSERT_TRUE(exchange.Run());
        EXPECT_EQ(requestLine(exchange.Body()), "PUT /echo HTTP/1.1") << status;
        EXPECT_THAT(exchange.Body(), EndsWith("\r\n\r\ncontent")) << status;
    }
}

TEST(WinHttpContractTest, ARedirectedPostBecomesAGetWithoutBody)
{
    for (const int status : {301, 302, 303}) {
        SCOPED_TRACE(status);
        WinHttpExchange::Settings settings = toScripted("/redirect?to=/echo&status=" + std::to_string(status));
        settings.verb = "POST";
        settings.headers = "Content-Type: text/plain\r\n";
        settings.body = "content";
        WinHttpExchange exchange(settings);
        ASSERT_TRUE(exchange.Run());
        if (!Quirks::isFollowed(status)) {
            EXPECT_EQ(exchange.Status(), static_cast<DWORD>(status));
        } else if (Quirks::kFailsWherePostBecomesGet) {
            EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
            EXPECT_EQ(exchange.Failure().call, DWORD_PTR{API_RECEIVE_RESPONSE});
        } else {
            EXPECT_EQ(requestLine(exchange.Body()), "GET /echo HTTP/1.1");
            EXPECT_THAT(exchange.Body(), Not(HasSubstr("ontent")));
        }
    }
}

TEST(WinHttpContractTest, PermanentAndTemporaryRedirectsKeepVerbAndBody)
{
    for (const int status : {307, 308}) {
        SCOPED_TRACE(status);
        WinHttpExchange::Settings settings = toScripted("/redirect?to=/echo&status=" + std::to_string(status));
        settings.verb = "POST";
        settings.body = "content";
        WinHttpExchange exchange(settings);
        ASSERT_TRUE(exchange.Run());
        if (Quirks::isFollowed(status)) {
            EXPECT_EQ(requestLine(exchange.Body()), "POST /echo HTTP/1.1");
            EXPECT_THAT(exchange.Body(), EndsWith("\r\n\r\ncontent"));
        } else {
            EXPECT_EQ(exchange.Status(), static_cast<DWORD>(status));
        }
    }
}

TEST(WinHttpContractTest, ARedirectToAnotherServerDoesNotGetWhatWasMeantForTheFirst)
{
    const std::string other = "http://localhost:" + std::to_string(TestServers::scriptedPort()) + "/echo";
    WinHttpExchange::Settings settings = toScripted("/redirect?to=" + TestServers::queryValue(other));
    settings.headers = "Authorization: secret\r\nCookie: own=secret\r\nX-Other: kept\r\n";
    WinHttpExchange elsewhere(settings);
    settings.objectName = "/redirect?to=/echo";
    WinHttpExchange same(settings);
    ASSERT_TRUE(elsewhere.Run());
    ASSERT_TRUE(same.Run());
    EXPECT_THAT(elsewhere.Body(), HasSubstr("X-Other: kept\r\n"));
    EXPECT_THAT(same.Body(), HasSubstr("Authorization: secret\r\n"));
    if (Quirks::kKeepsSecretsFromOtherServers) {
        EXPECT_THAT(elsewhere.Body(), Not(HasSubstr("secret")));
    } else {
        EXPECT_THAT(elsewhere.Body(), HasSubstr("Authorization: secret\r\n"));
        EXPECT_THAT(elsewhere.Body(), HasSubstr("Cookie: own=secret\r\n"));
    }
}

TEST(WinHttpContractTest, ARedirectMayLeadToAnIpv6Address)
{
    WinHttpExchange exchange(toScripted("/redirect?to=" + TestServers::queryValue(TestServers::scriptedIpv6("/echo"))));
    ASSERT_TRUE(exchange.Run());
    if (Quirks::kRedirectsToIpv6Addresses) {
        EXPECT_EQ(requestLine(exchange.Body()), "GET /echo HTTP/1.1");
    } else {
        EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_NAME_NOT_RESOLVED);
        EXPECT_EQ(exchange.Failure().call, DWORD_PTR{API_RECEIVE_RESPONSE});
    }
}

TEST(WinHttpContractTest, HeadersThatEndBeforeTheirEmptyLineAreABrokenConnection)
{
    WinHttpExchange exchange(toScripted("/shortheaders"));
    ASSERT_TRUE(exchange.Run());
    if (Quirks::kAcceptsShortHeaders) {
        EXPECT_EQ(exchange.Failure().value, 0U);
        EXPECT_EQ(exchange.Status(), 200U);
    } else {
        EXPECT_EQ(exchange.Failure().value, ERROR_WINHTTP_CONNECTION_ERROR);
    }
}

TEST(WinHttpContractTest, FoldedHeadersAreUnfolded)
{
    WinHttpExchange exchange(toScripted("/headers/folded?close"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_THAT(exchange.RawHeaders(),
                HasSubstr(Quirks::kEndsHeadersAtLineWithoutColon ? "X-Folded: first\r\n"
                                                                 : "X-Folded: first second\r\nX-After: after\r\n"));
}

TEST(WinHttpContractTest, InterimResponsesAreSkipped)
{
    WinHttpExchange exchange(toScripted("/interim?close&count=3"));
    ASSERT_TRUE(exchange.Run());
    if (Quirks::kTakesInterimForFinal) {
        EXPECT_EQ(exchange.Status(), 103U);
        EXPECT_THAT(exchange.RawHeaders(), HasSubstr("X-Interim: yes\r\n"));
        return;
    }
    EXPECT_EQ(exchange.Status(), 200U);
    EXPECT_THAT(exchange.RawHeaders(), Not(HasSubstr("X-Interim")));
    EXPECT_EQ(exchange.Body(), "final");
}

TEST(WinHttpContractTest, ACookieOfARedirectIsSentToItsTarget)
{
    WinHttpExchange exchange(toScripted("/redirect?to=/echo&cookie=crumb%3Dof-redirect%3B%20path%3D/"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_THAT(exchange.Body(), HasSubstr("Cookie: crumb=of-redirect\r\n"));
}

TEST(WinHttpContractTest, TheObjectNameIsEscapedAndBeginsWithASlash)
{
    struct Row {
        const char* name;
        const char* onTheWire;
    };
    constexpr Row kRows[] = {
        {"", "/"},
        {"echo", "/echo"},
        {"/echo?a=b&c=d", "/echo?a=b&c=d"},
        {"/echo?a b", "/echo?a%20b"},
        {"/echo?\"#<>[\\]^`{|}", "/echo?%22%23%3C%3E%5B%5C%5D%5E%60%7B%7C%7D"},
        {"/echo?!$&'()*+,-./:;=?@_~", "/echo?!$&'()*+,-./:;=?@_~"},
        {"/echo?100%", "/echo?100%"},
        {"/echo?%41%zz", "/echo?%41%zz"},
        {"/echo?\xC3\xA9\xE2\x82\xAC", "/echo?%C3%A9%E2%82%AC"},
    };
    for (const Row& row : kRows) {
        WinHttpExchange exchange(toScripted(row.name));
        ASSERT_TRUE(exchange.Run()) << row.name;
        if (exchange.Status() == 200) {
            EXPECT_EQ(requestLine(exchange.Body()), std::string("GET ") + row.onTheWire + " HTTP/1.1");
        } else {
            EXPECT_EQ(row.onTheWire, std::string("/")) << "only the root is no path of the server";
        }
    }
}

TEST(WinHttpContractTest, HeadersAndBodyAreSentAsTheyAre)
{
    WinHttpExchange::Settings settings = toScripted("/echo");
    settings.verb = "POST";
    settings.headers = "X-First: one\r\nX-Second: two  words\r\nContent-Type: text/plain\r\n";
    settings.body = std::string("a\0b", 3);
    WinHttpExchange exchange(settings);
    ASSERT_TRUE(exchange.Run());
    EXPECT_THAT(exchange.Body(), StartsWith("POST /echo HTTP/1.1\r\n"));
    EXPECT_THAT(exchange.Body(), HasSubstr("\r\nX-First: one\r\nX-Second: two  words\r\nContent-Type: text/plain\r\n"));
    EXPECT_THAT(exchange.Body(), HasSubstr("\r\nContent-Length: 3\r\n"));
    EXPECT_THAT(exchange.Body(), EndsWith(std::string("\r\n\r\na\0b", 7)));
}

TEST(WinHttpContractTest, CachesAreBypassedAndNothingElseIsAdded)
{
    WinHttpExchange exchange(toScripted("/echo"));
    ASSERT_TRUE(exchange.Run());
    EXPECT_THAT(exchange.Body(), HasSubstr("\r\nPragma: no-cache\r\n"));
    EXPECT_THAT(exchange.Body(), HasSubstr("\r\nCache-Control: no-cache\r\n"));
    for (const char* const header : {"Accept", "User-Agent", "Content-Type", "Expect", "Referer", "Cookie"}) {
        EXPECT_THAT(exchange.Body(), Not(HasSubstr(std::string("\r\n") + header + ":")));
    }
}

TEST(WinHttpContractTest, AnEmptyBodyHasALengthWhereTheVerbTakesOne)
{
    for (const char* const verb : {"POST", "PUT"}) {
        WinHttpExchange::Settings settings = toScripted("/echo");
        settings.verb = verb;
        WinHttpExchange exchange(settings);
        ASSERT_TRUE(exchange.Run());
        EXPECT_THAT(exchange.Body(), HasSubstr("\r\nContent-Length: 0\r\n")) << verb;
    }
}

TEST(WinHttpContractTest, Ipv6AddressesAreTakenWithAndWithoutBrackets)
{
    for (const char* const host : {"[::1]", "::1"}) {
        WinHttpExchange::Settings settings = toScripted("/echo");
        settings.host = host;
        WinHttpExchange exchange(settings);
        ASSERT_TRUE(exchange.Run()) << host;
        EXPECT_THAT(exchange.Body(), StartsWith("GET /echo HTTP/1.1\r\n")) << host;
    }
}

TEST(WinHttpContractTest, ACallbackMayCloseItsRequest)
{
    WinHttpExchange exchange(toScripted("/bytes?n=1000"));
    const HINTERNET request = exchange.Request();
    exchange.onNotification = [&](const SeenNotification& notification) {
        if (notification.status == WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE) {
            exchange.Close();
        }
    };
    ASSERT_TRUE(exchange.Send());
    EXPECT_TRUE(exchange.WaitFor(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING, request));
}

TEST(WinHttpContractTest, AnUnlistedNumberHasNoText)
{
    char* text = nullptr;
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
                       nullptr, 1234567, 0x400, reinterpret_cast<LPSTR>(&text), 0, nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MR_MID_NOT_FOUND});
    EXPECT_EQ(length, 0U);
    LocalFree(text);
}

TEST(WinHttpContractTest, ItsNumbersHaveTexts)
{
    const HMODULE module = LoadLibraryW(LumUtils::utf8ToUtf16("winhttp.dll").c_str());
    for (const DWORD number :
         {12002U, 12004U, 12007U, 12012U, 12017U, 12018U, 12019U, 12029U, 12030U, 12152U, 12156U, 12157U, 12175U}) {
        char* text = nullptr;
        const DWORD length = FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                                FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM,
                                            module, number, 0x400, reinterpret_cast<LPSTR>(&text), 0, nullptr);
        EXPECT_EQ(length > 0, Quirks::kHasTextsOfWinHttp) << number;
        EXPECT_TRUE(length > 0 || GetLastError() == ERROR_MR_MID_NOT_FOUND) << number;
        LocalFree(text);
    }
    FreeLibrary(module);
}

TEST(WinHttpContractTest, TextsEndInALineBreak)
{
    char* text = nullptr;
    const HMODULE module = LoadLibraryW(LumUtils::utf8ToUtf16("winhttp.dll").c_str());
    ASSERT_NE(module, nullptr);
    const DWORD length =
        FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_HMODULE |
                           FORMAT_MESSAGE_FROM_SYSTEM,
                       module, ERROR_INVALID_HANDLE, 0x400, reinterpret_cast<LPSTR>(&text), 0, nullptr);
    ASSERT_GT(length, 0U);
    EXPECT_THAT(std::string(text, length), EndsWith(".\r\n"));
    EXPECT_EQ(LocalFree(text), nullptr);
    EXPECT_TRUE(FreeLibrary(module));
}

} // namespace
