#include "Windows/networking/TransportTest.h"

#include "support/ThrowingLogger.h"

#include <limits>

namespace LumTests {

using LumNetworking::HttpCompletion;
using LumNetworking::UrlComponents;

constexpr int kNoUnicodeTranslation = 1113;
constexpr int kInvalidParameter = 87;

constexpr FailurePlace kConnectFailure = {6, "WinHttpConnect", "HandleHttpAsyncFailure", 186};
constexpr FailurePlace kOpenRequestFailure = {6, "WinHttpOpenRequest", "HandleHttpAsyncFailure", 186};
constexpr FailurePlace kSendFailure = {7, "WinHttpSendRequest", "HandleHttpAsyncFailure", 186};

/// Requests that cannot even be started.
class StartFailureTest : public TransportTest {
protected:
    static UrlComponents ScriptedUrl() { return components(TestServers::scripted("/echo")); }

    /// Expects that the completion runs before the operation returns, on the calling thread.
    void ExpectFailureAtOnce(const Starter& start, const FailurePlace& place, int platformCode)
    {
        logger->clear();
        const RequestRecorder recorder;
        Transaction transaction = start(recorder.Completion());
        ASSERT_TRUE(transaction);
        ASSERT_EQ(recorder.CallCount(), 1U);
        const Outcome outcome = recorder.WaitForOutcome();
        EXPECT_EQ(outcome.thread, std::this_thread::get_id());
        EXPECT_EQ(outcome.transaction, transaction.get());
        expectFailure(outcome, *logger, place, platformCode);
        EXPECT_EQ(logger->records().front().thread, std::this_thread::get_id());
        transaction.reset();
        recorder.WaitForRelease();
    }

    void ExpectFailureAtOnce(const UrlComponents& url, const Headers& headers, const FailurePlace& place,
                             int platformCode)
    {
        ExpectFailureAtOnce(
            [&](const HttpCompletion& completion) { return client->Get(url, headers, completion, true, 30); }, place,
            platformCode);
        ExpectFailureAtOnce(
            [&](const HttpCompletion& completion) { return client->Post(url, headers, "body", completion, true, 30); },
            place, platformCode);
        ExpectFailureAtOnce(
            [&](const HttpCompletion& completion) { return client->Put(url, headers, "", completion, true, 30); },
            place, platformCode);
        ExpectFailureAtOnce(
            [&](const HttpCompletion& completion) { return client->Patch(url, headers, "b", completion, true, 30); },
            place, platformCode);
        ExpectFailureAtOnce(
            [&](const HttpCompletion& completion) { return client->Delete(url, headers, completion, true, 30); }, place,
            platformCode);
    }
};

/// What is not UTF-8: a stray byte, a cut sequence, an overlong form, a surrogate, a value beyond the last one.
const char* const kInvalidTexts[] = {"a\xFF", "caf\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"};

TEST_F(StartFailureTest, AHostThatIsNotUtf8)
{
    for (const char* const text : kInvalidTexts) {
        UrlComponents url = ScriptedUrl();
        url.host = text;
        ExpectFailureAtOnce(url, {}, kConnectFailure, kNoUnicodeTranslation);
    }
}

TEST_F(StartFailureTest, APathThatIsNotUtf8)
{
    for (const char* const text : kInvalidTexts) {
        UrlComponents url = ScriptedUrl();
        url.path = std::string("/echo/") + text;
        ExpectFailureAtOnce(url, {}, kOpenRequestFailure, kNoUnicodeTranslation);
    }
}

TEST_F(StartFailureTest, AHeaderThatIsNotUtf8)
{
    for (const char* const text : kInvalidTexts) {
        ExpectFailureAtOnce(ScriptedUrl(), {{"X-Value", text}}, kSendFailure, kNoUnicodeTranslation);
        ExpectFailureAtOnce(ScriptedUrl(), {{"A-Valid", "yes"}, {"X-Value", text}}, kSendFailure,
                            kNoUnicodeTranslation);
    }
}

TEST_F(StartFailureTest, ATextWithANul)
{
    const std::string text("a\0b", 3);
    UrlComponents hostUrl = ScriptedUrl();
    hostUrl.host = text;
    ExpectFailureAtOnce(hostUrl, {}, kConnectFailure, kInvalidParameter);
    UrlComponents pathUrl = ScriptedUrl();
    pathUrl.path = "/" + text;
    ExpectFailureAtOnce(pathUrl, {}, kOpenRequestFailure, kInvalidParameter);
    ExpectFailureAtOnce(ScriptedUrl(), {{"X-Value", text}}, kSendFailure, kInvalidParameter);
    ExpectFailureAtOnce(ScriptedUrl(), {{text, "value"}}, kSendFailure, kInvalidParameter);
}

TEST_F(StartFailureTest, AHeaderThatWouldBecomeAnother)
{
    for (const char* const name : {"", ":", "X:Y", "X-Name: injected\r\nX-Other", "X\rY", "X\nY", "\n"}) {
        ExpectFailureAtOnce(ScriptedUrl(), {{name, "value"}}, kSendFailure, kInvalidParameter);
    }
    for (const char* const value : {"\r", "\n", "a\r\nX-Injected: yes", "a\rb", "a\nb", "a\r\n continued", "a\n"}) {
        ExpectFailureAtOnce(ScriptedUrl(), {{"X-Value", value}}, kSendFailure, kInvalidParameter);
        ExpectFailureAtOnce(ScriptedUrl(), {{"A-Valid", "yes"}, {"X-Value", value}, {"Z-Valid", "yes"}}, kSendFailure,
                            kInvalidParameter);
    }
}

TEST_F(StartFailureTest, AHeaderNameWithAByteThatIsNoTokenCharacter)
{
    for (unsigned int byte = 0; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        if (!isTokenCharacter(character)) {
            SCOPED_TRACE(byte);
            for (const std::string& name : {std::string(1, character), std::string("X") + character,
                                            character + std::string("X"), std::string("X") + character + "Y"}) {
                ExpectFailureAtOnce(ScriptedUrl(), {{name, "value"}}, kSendFailure, kInvalidParameter);
            }
        }
    }
}

TEST_F(StartFailureTest, AHeaderNameOutsideAscii)
{
    for (const char* const name : {"caf\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "X\xC2\xA0", "\xEF\xBC\xB8"}) {
        ExpectFailureAtOnce(ScriptedUrl(), {{"A-Valid", "yes"}, {name, "value"}}, kSendFailure, kInvalidParameter);
    }
}

TEST_F(StartFailureTest, AHeaderValueOfVerticalTabsOrFormFeedsOnly)
{
    for (const char* const value : {"\v", "\f", "\v\f", " \v", "\f ", "\t\v\t", "\f\f\f"}) {
        ExpectFailureAtOnce(ScriptedUrl(), {{"X-Value", value}}, kSendFailure, kInvalidParameter);
        ExpectFailureAtOnce(ScriptedUrl(), {{"A-Valid", "yes"}, {"X-Value", value}, {"Z-Valid", "yes"}}, kSendFailure,
                            kInvalidParameter);
    }
}

TEST_F(StartFailureTest, APortThatIsNone)
{
    for (const std::uint32_t port : {65536U, 65616U, 99999U, std::numeric_limits<std::uint32_t>::max() - 1}) {
        UrlComponents url = ScriptedUrl();
        url.port = port;
        ExpectFailureAtOnce(url, {}, kConnectFailure, kInvalidParameter);
    }
}

TEST_F(StartFailureTest, WithoutCompletionTheFailureIsDropped)
{
    UrlComponents url = ScriptedUrl();
    url.host = "\xFF";
    EXPECT_TRUE(client->Get(url, {}, nullptr, true, 30));
    EXPECT_TRUE(logger->records().empty());
}

TEST_F(StartFailureTest, AUrlThatCannotBeParsedIsRefused)
{
    const RequestRecorder recorder;
    EXPECT_EQ(client->Get("no url at all", {}, recorder.Completion(), true, 30), nullptr);
    recorder.WaitForRelease();
    EXPECT_EQ(recorder.CallCount(), 0U);
    ASSERT_EQ(logger->records().size(), 1U);
    EXPECT_EQ(logger->records()[0].message, "Failed to parse URL: no url at all");
    EXPECT_EQ(logger->records()[0].line, 23U);
}

TEST_F(StartFailureTest, ALoggerThatThrowsLosesItsRecordAndTheRequestFailsOrIsRefused)
{
    UrlComponents invalid = ScriptedUrl();
    invalid.host = "\xFF";
    const Headers unsendable = {{"X Y", "value"}};
    for (const std::function<void()>& throwException : kHostExceptions) {
        const auto throwing = std::make_shared<ThrowingLogger>(throwException);
        client = std::make_shared<LumNetworking::WinHttpClientAsync>(throwing);
        EXPECT_EQ(client->Get("ftp://x", {}, nullptr, true, 30), nullptr);
        EXPECT_EQ(client->Post("ftp://x", {}, "body", nullptr, true, 30), nullptr);
        EXPECT_EQ(client->Put("ftp://x", {}, "body", nullptr, true, 30), nullptr);
        EXPECT_EQ(client->Patch("ftp://x", {}, "body", nullptr, true, 30), nullptr);
        EXPECT_EQ(client->Delete("ftp://x", {}, nullptr, true, 30), nullptr);
        EXPECT_EQ(client->Send(nullptr, nullptr, true, 30), nullptr);
        const Outcome unopened = Get(invalid);
        ASSERT_TRUE(unopened.error);
        EXPECT_EQ(unopened.error->getCode(), kConnectFailure.code);
        const Outcome unsent = Get(ScriptedUrl(), unsendable);
        ASSERT_TRUE(unsent.error);
        EXPECT_EQ(unsent.error->getCode(), kSendFailure.code);
        EXPECT_EQ(platformCodeOf(*unsent.error), kInvalidParameter);
        EXPECT_EQ(throwing->recordCount(), 8) << "one record for each";
    }
}

TEST_F(StartFailureTest, ACompletionThatThrowsWhenItIsCopiedRefusesTheRequest)
{
    for (const std::function<void()>& throwException : kHostExceptions) {
        const HttpCompletion completion = ThrowingCopy(throwException);
        EXPECT_EQ(client->Get(ScriptedUrl(), {}, completion, true, 30), nullptr);
        EXPECT_EQ(client->Post(ScriptedUrl(), {}, "body", completion, true, 30), nullptr);
    }
    const std::vector<LogRecord> records = logger->records();
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(records[0].message, "Failed to start HTTP request: disk full");
    EXPECT_EQ(records[2].message, "Failed to start HTTP request: Unknown exception");
}

TEST_F(StartFailureTest, TheClientGoesOnAfterwards)
{
    UrlComponents url = ScriptedUrl();
    url.host = "\xFF";
    EXPECT_EQ(Get(url).result, LumNetworking::HttpRequestResult::FAILED);
    expectSuccess(Get(ScriptedUrl()));
}

} // namespace LumTests
