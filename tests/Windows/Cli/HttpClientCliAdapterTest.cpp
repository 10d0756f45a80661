#include "Windows/Cli/networking/HttpClientCliAdapter.h"

#include "NarrowEncoding.h"
#include "Windows/Cli/networking/SocksHttpClientCliAdapter.h"
#include "Windows/Cli/utils/ManagedException.h"
#include "Windows/Cli/utils/ManagedText.h"
#include "support/AllocationLimit.h"
#include "support/FakeManagedHost.h"
#include "support/VtableSlot.h"

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>

namespace {

using namespace std::string_literals;
using namespace LumTests;
using LumNetworkingCli::HttpClientCliAdapter;
using LumNetworkingCli::SocksHttpClientCliAdapter;
using LumUtilsCli::ManagedException;

using Headers = std::map<std::string, std::string>;
using Lines = std::vector<std::optional<std::u16string>>;

/// The exception that the code throws, or null. It ends the handle.
template <typename Code>
std::shared_ptr<FakeException> thrownBy(FakeManagedHost& host, Code code)
{
    try {
        code();
    } catch (const ManagedException& exception) {
        return host.takeException(exception.Release());
    }
    return nullptr;
}

class HttpClientCliAdapterTest : public testing::Test {
protected:
    FakeManagedHost host;
    std::shared_ptr<FakeSocksClient> client = std::make_shared<FakeSocksClient>();
    std::optional<HttpClientCliAdapter> adapter{std::in_place, host.lend(client)};

    FakeRequest send(const std::string& method, const std::string& url, const Headers& headers, const std::string& body)
    {
        adapter->SendAndGetResponse(method, url, headers, body);
        return client->requests().back();
    }

    HttpClientCliAdapter::HttpResponse receive(FakeResponse response)
    {
        client->answer(std::move(response));
        return adapter->SendAndGetResponse("GET", "http://host/", {}, "");
    }

    Headers receiveHeaders(Lines lines)
    {
        FakeResponse response;
        response.headers = std::move(lines);
        return receive(std::move(response)).headers;
    }

    std::shared_ptr<FakeException> thrownWhenSending(const std::string& method, const std::string& url,
                                                     const Headers& headers, const std::string& body)
    {
        return thrownBy(host, [&] { adapter->SendAndGetResponse(method, url, headers, body); });
    }

    std::shared_ptr<FakeException> thrownWhenReceiving(FakeResponse response)
    {
        return thrownBy(host, [&] { receive(std::move(response)); });
    }
};

void expectArgumentException(const std::shared_ptr<FakeException>& exception, const std::u16string& message)
{
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->type, "System.ArgumentException");
    EXPECT_EQ(exception->message, message);
}

void expectNullArgument(const std::shared_ptr<FakeException>& exception)
{
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->type, "System.ArgumentNullException");
    EXPECT_EQ(exception->paramName, u"NULLPTR is not supported for this conversion.");
}

constexpr const char16_t* kUndecodable =
    u"Conversion from MultiByte to WideChar failed.  Please check the content of the string and/or locale settings.";
constexpr const char16_t* kUnencodable =
    u"Conversion from WideChar to MultiByte failed.  Please check the content of the string and/or locale settings.";

TEST_F(HttpClientCliAdapterTest, TheSlotsAreDestructorAndSendAndGetResponse)
{
    EXPECT_EQ(vtableSlot(&HttpClientCliAdapter::SendAndGetResponse), 1U);
    EXPECT_EQ(vtableSlot(&SocksHttpClientCliAdapter::SendAndGetResponse), 1U);
    EXPECT_FALSE(std::is_copy_constructible_v<HttpClientCliAdapter>);
    EXPECT_FALSE(std::is_copy_assignable_v<SocksHttpClientCliAdapter>);
}

TEST_F(HttpClientCliAdapterTest, AResponseIsZeroAndEmptyAtFirstAndCanBeCopied)
{
    HttpClientCliAdapter::HttpResponse response;
    EXPECT_EQ(response.statusCode, 0);
    EXPECT_TRUE(response.headers.empty());
    EXPECT_TRUE(response.body.empty());
    response.headers["A"] = "1";
    const HttpClientCliAdapter::HttpResponse copy = response;
    EXPECT_EQ(copy.headers.at("A"), "1");
}

TEST_F(HttpClientCliAdapterTest, EverythingReachesTheHost)
{
    const FakeRequest request = send("PATCH", "https://host:81/a?b=c", {{"B", "2"}, {"A", "1"}}, "payload");
    EXPECT_EQ(request.method, u"PATCH");
    EXPECT_EQ(request.url, u"https://host:81/a?b=c");
    EXPECT_EQ(request.headers, (std::map<std::u16string, std::u16string>{{u"A", u"1"}, {u"B", u"2"}}));
    EXPECT_EQ(request.payload, u"payload");
}

TEST_F(HttpClientCliAdapterTest, NoHeadersAreAnEmptyDictionary)
{
    EXPECT_TRUE(send("GET", "http://host/", {}, "").headers.empty());
}

TEST_F(HttpClientCliAdapterTest, AnEmptyBodyGoesToTheHostAsNullAndABlankAsABlank)
{
    EXPECT_EQ(send("POST", "http://host/", {}, "").payload, std::nullopt);
    EXPECT_EQ(send("POST", "http://host/", {}, " ").payload, u" ");
}

TEST_F(HttpClientCliAdapterTest, EmptyTextsAreEmptyNotNull)
{
    const FakeRequest request = send("", "", {{"", ""}}, "");
    EXPECT_EQ(request.method, u"");
    EXPECT_EQ(request.url, u"");
    EXPECT_EQ(request.headers, (std::map<std::u16string, std::u16string>{{u"", u""}}));
}

TEST_F(HttpClientCliAdapterTest, NulsGoThroughInBothDirections)
{
    const FakeRequest request = send("P\0T"s, "u\0"s, {{"\0n"s, "v\0v"s}}, "\0b\0"s);
    EXPECT_EQ(request.method, u"P\0T"s);
    EXPECT_EQ(request.url, u"u\0"s);
    EXPECT_EQ(request.headers.at(u"\0n"s), u"v\0v"s);
    EXPECT_EQ(request.payload, u"\0b\0"s);
    FakeResponse response;
    response.body = u"\0r\0"s;
    response.headers = Lines{u"N\0N:v\0"s};
    const HttpClientCliAdapter::HttpResponse received = receive(response);
    EXPECT_EQ(received.body, "\0r\0"s);
    EXPECT_EQ(received.headers, (Headers{{"N\0N"s, "v\0"s}}));
}

TEST_F(HttpClientCliAdapterTest, TextsAreInTheThreadsNarrowEncoding)
{
    const JapaneseTexts encoding;
    const std::string hiragana = kHiragana;
    const FakeRequest request = send("GET", "http://host/" + hiragana, {{hiragana, hiragana}}, hiragana);
    EXPECT_EQ(request.url, u"http://host/\u3042");
    EXPECT_EQ(request.headers.at(u"\u3042"), u"\u3042");
    EXPECT_EQ(request.payload, u"\u3042");
    FakeResponse response;
    response.body = std::u16string(u"\u3042");
    response.headers = Lines{u"\u3042: \u3042"};
    const HttpClientCliAdapter::HttpResponse received = receive(response);
    EXPECT_EQ(received.body, hiragana);
    EXPECT_EQ(received.headers, (Headers{{hiragana, hiragana}}));
}

TEST_F(HttpClientCliAdapterTest, InvalidBytesAnywhereThrowTheMultiByteMessage)
{
    const JapaneseTexts encoding;
    const std::string invalid = std::string("a") + kInvalidByte;
    expectArgumentException(thrownWhenSending(invalid, "u", {}, "b"), kUndecodable);
    expectArgumentException(thrownWhenSending("GET", invalid, {}, "b"), kUndecodable);
    expectArgumentException(thrownWhenSending("GET", "u", {{invalid, ""}}, "b"), kUndecodable);
    expectArgumentException(thrownWhenSending("GET", "u", {{"A", "1"}, {"B", invalid}}, "b"), kUndecodable);
    expectArgumentException(thrownWhenSending("POST", "u", {}, invalid), kUndecodable);
    EXPECT_TRUE(client->requests().empty());
}

TEST_F(HttpClientCliAdapterTest, TextsAreConvertedInTheirOrderAndTheFirstThatFailsIsReported)
{
    const JapaneseTexts encoding;
    const std::string large(1U << 20U, 'x');
    const auto typeOf = [&](const std::string& method, const std::string& url, const Headers& headers,
                            const std::string& body) {
        const AllocationLimit limit(1U << 20U);
        return thrownWhenSending(method, url, headers, body)->type;
    };
    const std::string tooLarge = "System.InsufficientMemoryException";
    EXPECT_EQ(typeOf(large, kInvalidByte, {}, ""), tooLarge);
    EXPECT_EQ(typeOf("GET", large, {{kInvalidByte, ""}}, ""), tooLarge);
    EXPECT_EQ(typeOf("GET", "u", {{"A", large}, {kInvalidByte, ""}}, ""), tooLarge);
    EXPECT_EQ(typeOf("GET", "u", {{"A", kInvalidByte}}, large), "System.ArgumentException");
}

TEST_F(HttpClientCliAdapterTest, OfAResponseTheBodyIsConvertedBeforeTheHeaders)
{
    FakeResponse response;
    response.body = std::nullopt;
    response.headers = Lines{std::u16string(u"A: ") + char16_t{0xD800}};
    expectNullArgument(thrownWhenReceiving(response));
}

TEST_F(HttpClientCliAdapterTest, AnUnpairedSurrogateIsRefusedOrReplaced)
{
    FakeResponse response;
    response.body = std::u16string{u'a', 0xD800, u'b'};
    if (kRefusesUnpairedSurrogates) {
        expectArgumentException(thrownWhenReceiving(response), kUnencodable);
        response.headers = Lines{response.body};
        response.body = std::u16string();
        expectArgumentException(thrownWhenReceiving(response), kUnencodable);
    } else {
        EXPECT_EQ(receive(response).body, "a?b");
    }
}

TEST_F(HttpClientCliAdapterTest, StatusCodesAreCopiedAsNumbers)
{
    for (const int status : {0, 100, 200, 404, 599, 1234567, -1}) {
        FakeResponse response;
        response.httpCode = status;
        EXPECT_EQ(receive(response).statusCode, status);
    }
}

TEST_F(HttpClientCliAdapterTest, NoListOfHeadersIsNoHeaders)
{
    FakeResponse response;
    response.headers = std::nullopt;
    EXPECT_TRUE(receive(response).headers.empty());
    EXPECT_TRUE(receiveHeaders(Lines{}).empty());
}

TEST_F(HttpClientCliAdapterTest, OfARepeatedNameTheLastLineWinsAndALineWithoutColonIsSkipped)
{
    EXPECT_EQ(receiveHeaders({u"Content-Type: text/html", u"X-A:1", u"X-A: 2", u"bogus"}),
              (Headers{{"Content-Type", "text/html"}, {"X-A", "2"}}));
}

TEST_F(HttpClientCliAdapterTest, NamesKeepTheirCase)
{
    EXPECT_EQ(receiveHeaders({u"x-a: 1", u"X-A: 2"}), (Headers{{"X-A", "2"}, {"x-a", "1"}}));
}

TEST_F(HttpClientCliAdapterTest, ALineThatEndsAfterItsColonHasAnEmptyValue)
{
    EXPECT_EQ(receiveHeaders({u"Name:"}), (Headers{{"Name", ""}}));
}

TEST_F(HttpClientCliAdapterTest, ALineThatBeginsWithItsColonHasTheEmptyName)
{
    EXPECT_EQ(receiveHeaders({u" : v"}), (Headers{{"", "v"}}));
    EXPECT_EQ(receiveHeaders({u":"}), (Headers{{"", ""}}));
}

TEST_F(HttpClientCliAdapterTest, TheFirstColonEndsTheNameAndWhiteSpaceIsTrimmed)
{
    EXPECT_EQ(receiveHeaders({u"\t Location \v:\f\r\n http://host:81/ \t"}),
              (Headers{{"Location", "http://host:81/"}}));
    EXPECT_TRUE(receiveHeaders({u"", u"   "}).empty());
}

TEST_F(HttpClientCliAdapterTest, ANullBodyThrows)
{
    FakeResponse response;
    response.body = std::nullopt;
    expectNullArgument(thrownWhenReceiving(response));
}

TEST_F(HttpClientCliAdapterTest, ANullLineThrows)
{
    FakeResponse response;
    response.headers = Lines{u"A: 1", std::nullopt, u"B: 2"};
    expectNullArgument(thrownWhenReceiving(response));
}

TEST_F(HttpClientCliAdapterTest, WhatTheHostThrowsComesOutUnchanged)
{
    const auto exception = exceptionOf("System.Net.WebException", u"no proxy");
    client->fail(exception);
    EXPECT_EQ(thrownWhenSending("GET", "u", {}, ""), exception);
}

TEST_F(HttpClientCliAdapterTest, ARequestToTheNullReferenceThrows)
{
    const HttpClientCliAdapter nothing(host.lend(nullptr));
    const auto exception = thrownBy(host, [&] { nothing.SendAndGetResponse("GET", "u", {}, ""); });
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->type, "System.NullReferenceException");
}

TEST_F(HttpClientCliAdapterTest, AnExceptionIsReleasedOnceHoweverOftenItIsCopied)
{
    client->fail(exceptionOf("System.Exception", u"x"));
    const std::size_t before = host.nativeHandles();
    try {
        adapter->SendAndGetResponse("GET", "u", {}, "");
        FAIL() << "nothing was thrown";
    } catch (const ManagedException& exception) {
        const ManagedException copy =
            exception; // NOLINT(performance-unnecessary-copy-initialization): the copy is tested
        EXPECT_EQ(copy.Message(), "x");
        EXPECT_EQ(host.nativeHandles(), before + 1);
    }
    EXPECT_EQ(host.nativeHandles(), before);
}

TEST_F(HttpClientCliAdapterTest, TheHostsObjectLivesAsLongAsTheAdapter)
{
    EXPECT_EQ(host.nativeHandles(), 1U);
    adapter.reset();
    EXPECT_EQ(host.nativeHandles(), 0U);
}

TEST_F(HttpClientCliAdapterTest, AHandleThatCannotBeMadeFailsTheConstruction)
{
    host.failCall(1);
    const auto exception = thrownBy(host, [&] { const HttpClientCliAdapter another(host.lend(client)); });
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->type, "System.OutOfMemoryException");
}

TEST_F(HttpClientCliAdapterTest, ATextBeyondTheLargestIntIsOutOfRange)
{
    // Only the length of the text is looked at.
    const std::string_view text("x", std::size_t{0x80000000U});
    const auto exception = thrownBy(host, [&] { LumUtilsCli::ManagedText::Convert(host.table(), text); });
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->type, "System.ArgumentOutOfRangeException");
    EXPECT_EQ(exception->paramName, u"Size of string exceeds INT_MAX.");
}

TEST_F(HttpClientCliAdapterTest, ATextThatMemoryIsMissingForIsInsufficientMemory)
{
    const std::string body(1U << 20U, 'x');
    const AllocationLimit limit(1U << 20U);
    const auto exception = thrownWhenSending("POST", "u", {}, body);
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->type, "System.InsufficientMemoryException");
}

TEST_F(HttpClientCliAdapterTest, AResponseThatMemoryIsMissingForIsBadAlloc)
{
    FakeResponse response;
    response.body = std::u16string(1U << 20U, u'x');
    std::optional<AllocationLimit> limit;
    host.beforeGiving = [&] { limit.emplace(1U << 19U); };
    EXPECT_THROW(receive(response), std::bad_alloc);
}

TEST_F(HttpClientCliAdapterTest, AnExceptionThatCannotBeMadeIsBadAlloc)
{
    host.refusesExceptions = true;
    FakeResponse response;
    response.body = std::nullopt;
    EXPECT_THROW(receive(response), std::bad_alloc);
    const JapaneseTexts encoding;
    EXPECT_THROW(adapter->SendAndGetResponse(kInvalidByte, "u", {}, ""), std::bad_alloc);
}

TEST_F(HttpClientCliAdapterTest, RequestsRunOnSeveralThreadsAtOnce)
{
    constexpr int kThreads = 8;
    std::atomic<int> inside{0};
    client->onSend = [&](const FakeRequest& request) {
        ++inside;
        while (inside < kThreads) {
            std::this_thread::yield();
        }
        FakeResponse response;
        response.body = request.payload;
        return response;
    };
    std::vector<std::thread> threads;
    for (int index = 0; index < kThreads; ++index) {
        threads.emplace_back([&, body = std::to_string(index)] {
            EXPECT_EQ(adapter->SendAndGetResponse("POST", "u", {}, body).body, body);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

class SocksHttpClientCliAdapterTest : public testing::Test {
protected:
    FakeManagedHost host;
    std::shared_ptr<FakeSocksClient> client = std::make_shared<FakeSocksClient>();
};

TEST_F(SocksHttpClientCliAdapterTest, WithoutParametersTheHostIsToldNothing)
{
    const SocksHttpClientCliAdapter adapter(host.lend(client));
    EXPECT_TRUE(client->parameters().empty());
    EXPECT_EQ(host.nativeHandles(), 2U);
}

TEST_F(SocksHttpClientCliAdapterTest, TheParametersGoToTheHostAtOnceTicketFirst)
{
    const SocksHttpClientCliAdapter adapter("ticket\0x"s, "socks5://proxy:1080", host.lend(client));
    ASSERT_EQ(client->parameters().size(), 1U);
    EXPECT_EQ(client->parameters()[0].first, u"ticket\0x"s);
    EXPECT_EQ(client->parameters()[0].second, u"socks5://proxy:1080");
}

TEST_F(SocksHttpClientCliAdapterTest, TheParametersMayBeSetLaterAndAgain)
{
    SocksHttpClientCliAdapter adapter(host.lend(client));
    adapter.SetSocksParameters("", "");
    adapter.SetSocksParameters("t", "u");
    ASSERT_EQ(client->parameters().size(), 2U);
    EXPECT_EQ(client->parameters()[0], (std::pair<std::u16string, std::u16string>(u"", u"")));
    EXPECT_EQ(client->parameters()[1], (std::pair<std::u16string, std::u16string>(u"t", u"u")));
}

TEST_F(SocksHttpClientCliAdapterTest, TheNullReferenceIsToldNothing)
{
    const JapaneseTexts encoding;
    EXPECT_NO_THROW(SocksHttpClientCliAdapter(kInvalidByte, "u", host.lend(nullptr)));
}

TEST_F(SocksHttpClientCliAdapterTest, InvalidParametersThrow)
{
    const JapaneseTexts encoding;
    SocksHttpClientCliAdapter adapter(host.lend(client));
    expectArgumentException(thrownBy(host, [&] { adapter.SetSocksParameters(kInvalidByte, "u"); }), kUndecodable);
    expectArgumentException(thrownBy(host, [&] { adapter.SetSocksParameters("t", kInvalidByte); }), kUndecodable);
    EXPECT_TRUE(client->parameters().empty());
}

TEST_F(SocksHttpClientCliAdapterTest, TheTicketIsConvertedFirst)
{
    const JapaneseTexts encoding;
    SocksHttpClientCliAdapter adapter(host.lend(client));
    const std::string large(1U << 20U, 'x');
    const auto typeOf = [&](const std::string& ticket, const std::string& url) {
        const AllocationLimit limit(1U << 20U);
        return thrownBy(host, [&] { adapter.SetSocksParameters(ticket, url); })->type;
    };
    EXPECT_EQ(typeOf(large, kInvalidByte), "System.InsufficientMemoryException");
    EXPECT_EQ(typeOf(kInvalidByte, large), "System.ArgumentException");
}

TEST_F(SocksHttpClientCliAdapterTest, WhatTheHostThrowsFailsTheConstruction)
{
    const auto thrown = exceptionOf("System.Security.SecurityException", u"no ticket");
    client->onSetSocksParameters = [&] { throw ManagedThrow{thrown}; };
    EXPECT_EQ(thrownBy(host, [&] { const SocksHttpClientCliAdapter adapter("t", "u", host.lend(client)); }), thrown);
}

TEST_F(SocksHttpClientCliAdapterTest, AConstructionThatFailsAtAnyCallKeepsNothing)
{
    constexpr int kCalls = 3;
    for (int failing = 1; failing <= kCalls; ++failing) {
        host.failCall(failing);
        EXPECT_TRUE(thrownBy(host, [&] { const SocksHttpClientCliAdapter adapter("t", "u", host.lend(client)); }));
        EXPECT_EQ(host.callCount(), failing);
        EXPECT_EQ(host.nativeHandles(), 0U);
    }
    host.failCall(kCalls + 1);
    EXPECT_NO_THROW(SocksHttpClientCliAdapter("t", "u", host.lend(client)));
    EXPECT_EQ(host.callCount(), kCalls);
}

TEST_F(SocksHttpClientCliAdapterTest, DestroyedThroughItsBaseItReleasesBothHandles)
{
    std::unique_ptr<HttpClientCliAdapter> adapter = std::make_unique<SocksHttpClientCliAdapter>(host.lend(client));
    EXPECT_EQ(host.nativeHandles(), 2U);
    adapter.reset();
    EXPECT_EQ(host.nativeHandles(), 0U);
}

} // namespace
