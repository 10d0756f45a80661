#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"

#include "NarrowEncoding.h"
#include "Windows/Cli/utils/LumUtilsLoggerDelegateCliAdapter.h"
#include "Windows/Cli/utils/ManagedException.h"
#include "support/AllocationLimit.h"
#include "support/FakeManagedHost.h"
#include "support/ProcessResources.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"
#include "support/ThrowingLogger.h"
#include "support/VtableSlot.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <optional>
#include <stdexcept>

namespace {

using namespace std::string_literals;
using namespace LumTests;
using namespace LumNetworking;
using LumUtils::ILumUtilsLoggerDelegate;
using LumUtils::LumLogLevel;
using Headers = std::map<std::string, std::string>;
using Client = LumAsynchronousSocksHttpClient;
using Lines = std::vector<std::optional<std::u16string>>;

constexpr const char* kDomain = "com.corvan.clientlibs.liblumnetworking.error";
constexpr const char* kConstructor = "LumNetworking::LumAsynchronousSocksHttpClient::LumAsynchronousSocksHttpClient";
constexpr const char* kWorkerFunction = "LumNetworking::LumAsynchronousSocksHttpClient::HttpWorkerThread";
constexpr const char* kRequestFunction = "LumNetworking::LumAsynchronousSocksHttpClient::HandleHttpRequest";
constexpr const char* kSourceFile = "src/Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.cpp";

/// Lets through whoever waits once it is opened.
class Gate {
public:
    void open()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isOpen = true;
        changed.notify_all();
    }

    void pass()
    {
        std::unique_lock<std::mutex> lock(mutex);
        ++arrived;
        changed.notify_all();
        changed.wait_for(lock, kLongestWait, [this] { return isOpen; });
    }

    void waitForArrival(int count = 1)
    {
        std::unique_lock<std::mutex> lock(mutex);
        EXPECT_TRUE(changed.wait_for(lock, kLongestWait, [&] { return arrived >= count; }));
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool isOpen = false;
    int arrived = 0;
};

/// Runs code on the thread that logs, for each record.
class HookedLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    using Hook = std::function<void(LumLogLevel level, const std::string& message)>;
    explicit HookedLogger(Hook code) : hook(std::move(code)) {}

private:
    void writeRecord(LumLogLevel level, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& message, unsigned int /*line*/) override
    {
        hook(level, message);
    }

    Hook hook;
};

bool isMaking(const std::string& message)
{
    return message.find("Making") != std::string::npos;
}

/// Gives the worker Japanese texts with its first record, which comes before anything is converted, and takes them back
/// with its error record, whose message it keeps.
class JapaneseWorkerLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    /// To be called when the request has ended.
    const std::string& errorMessage() const { return error; }

private:
    void writeRecord(LumLogLevel level, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& message, unsigned int /*line*/) override
    {
        if (isMaking(message)) {
            encoding.emplace();
        }
        if (level == LumLogLevel::Error) {
            error = message;
            encoding.reset();
        }
    }

    std::optional<JapaneseTexts> encoding;
    std::string error;
};

class SocksClientTest : public testing::Test {
protected:
    FakeManagedHost host;
    std::shared_ptr<FakeSocksClient> socks = std::make_shared<FakeSocksClient>();
    std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    std::unique_ptr<Client> client = std::make_unique<Client>(logger, host.lend(socks));

    void SetUp() override { logger->clear(); }

    /// Waits for the request's end and lets go of its transaction.
    Outcome fetch(const Headers& headers = {})
    {
        const RequestRecorder recorder;
        const auto transaction = client->Get("http://host/path", headers, recorder.Completion(), true, 30);
        Outcome outcome = recorder.WaitForOutcome();
        EXPECT_EQ(outcome.transaction, transaction.get());
        return outcome;
    }

    std::string onlyError() const
    {
        const std::vector<LogRecord> errors = logger->recordsOfLevel(LumLogLevel::Error);
        EXPECT_EQ(errors.size(), 1U);
        if (errors.empty()) {
            return {};
        }
        EXPECT_EQ(errors[0].function, kWorkerFunction);
        EXPECT_TRUE(endsWithPath(errors[0].file, kSourceFile));
        EXPECT_GT(errors[0].line, 0U);
        return errors[0].message;
    }
};

void expectFailed(const Outcome& outcome)
{
    EXPECT_EQ(outcome.result, HttpRequestResult::FAILED);
    EXPECT_EQ(outcome.response, nullptr);
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->getDomain(), kDomain);
    EXPECT_EQ(outcome.error->getCode(), 6);
    EXPECT_TRUE(outcome.error->getUserInfo().empty());
}

void expectCancelled(const Outcome& outcome)
{
    EXPECT_EQ(outcome.result, HttpRequestResult::CANCELLED);
    EXPECT_EQ(outcome.response, nullptr);
    EXPECT_EQ(outcome.error, nullptr);
}

TEST_F(SocksClientTest, TheSlotsAreThoseOfTheInterface)
{
    using Started = std::shared_ptr<ILumAsynchronousTransaction>;
    using GetParsed = Started (Client::*)(const UrlComponents&, const Headers&, const HttpCompletion&, bool, int);
    using PostParsed =
        Started (Client::*)(const UrlComponents&, const Headers&, const std::string&, const HttpCompletion&, bool, int);
    EXPECT_EQ(vtableSlot(&Client::Send), 1U);
    EXPECT_EQ(vtableSlot(static_cast<GetParsed>(&Client::Get)), 3U);
    EXPECT_EQ(vtableSlot(static_cast<PostParsed>(&Client::Post)), 5U);
    EXPECT_EQ(vtableSlot(static_cast<PostParsed>(&Client::Put)), 7U);
    EXPECT_EQ(vtableSlot(static_cast<PostParsed>(&Client::Patch)), 9U);
    EXPECT_EQ(vtableSlot(static_cast<GetParsed>(&Client::Delete)), 11U);
}

TEST_F(SocksClientTest, WithoutTicketTheCreationIsLoggedAndTheHostToldNothing)
{
    const Client another(logger, host.lend(socks));
    ASSERT_EQ(logger->records().size(), 1U);
    const LogRecord record = logger->records()[0];
    EXPECT_EQ(record.level, LumLogLevel::Info);
    EXPECT_EQ(record.message, "LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests");
    EXPECT_EQ(record.function, kConstructor);
    EXPECT_TRUE(endsWithPath(record.file, kSourceFile));
    EXPECT_TRUE(socks->parameters().empty());
}

TEST_F(SocksClientTest, WithTicketTheHostIsToldFirst)
{
    socks->onSetSocksParameters = [&] { EXPECT_TRUE(logger->records().empty()); };
    const Client another(logger, "ticket", "socks5://proxy:1080", host.lend(socks));
    ASSERT_EQ(logger->records().size(), 1U);
    EXPECT_EQ(logger->records()[0].message,
              "LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests with STA ticket");
    EXPECT_EQ(logger->records()[0].function, kConstructor);
    ASSERT_EQ(socks->parameters().size(), 1U);
    EXPECT_EQ(socks->parameters()[0], (std::pair<std::u16string, std::u16string>(u"ticket", u"socks5://proxy:1080")));
}

TEST_F(SocksClientTest, AConstructionWithTicketThatFailsAtAnyCallKeepsNothing)
{
    const std::size_t before = host.nativeHandles();
    for (int failing = 1; failing <= 3; ++failing) {
        host.failCall(failing);
        EXPECT_THROW(Client(logger, "ticket", "url", host.lend(socks)), LumUtilsCli::ManagedException);
        EXPECT_EQ(host.nativeHandles(), before);
    }
    EXPECT_TRUE(logger->records().empty());
    EXPECT_EQ(logger.use_count(), 3) << "the test's, and two of the client";
}

struct Operation {
    const char* name;
    std::function<std::shared_ptr<ILumAsynchronousTransaction>(Client&, const HttpCompletion&, const std::string& body)>
        start;
    std::u16string method;
    bool hasBody;
};

class SocksOperationTest : public SocksClientTest, public testing::WithParamInterface<Operation> {
protected:
    FakeRequest sent(const std::string& body)
    {
        const RequestRecorder recorder;
        const auto transaction = GetParam().start(*client, recorder.Completion(), body);
        EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::SUCCESS);
        return socks->requests().back();
    }
};

TEST_P(SocksOperationTest, ReachesTheHostWithItsMethodUrlAndHeaders)
{
    const FakeRequest request = sent("body");
    EXPECT_EQ(request.method, GetParam().method);
    EXPECT_EQ(request.url, u"https://host:81/path?a=b%20c");
    EXPECT_EQ(request.headers, (std::map<std::u16string, std::u16string>{{u"A", u"1"}, {u"B", u"2"}}));
}

TEST_P(SocksOperationTest, SendsABodyOnlyWhereThereIsOne)
{
    EXPECT_EQ(sent("body").payload, GetParam().hasBody ? std::optional<std::u16string>(u"body") : std::nullopt);
    EXPECT_EQ(sent("").payload, std::nullopt);
}

TEST_P(SocksOperationTest, LogsItsMethodItsUrlAndTheStatus)
{
    sent("body");
    ASSERT_TRUE(waitUntil([&] { return logger->records().size() == 2; }));
    const std::vector<LogRecord> records = logger->recordsOfLevel(LumLogLevel::Info);
    ASSERT_EQ(records.size(), 2U);
    const std::string method(GetParam().method.begin(), GetParam().method.end());
    EXPECT_EQ(records[0].format, "LumAsynchronousSocksHttpClient: Making %s request to %s");
    EXPECT_EQ(records[0].message,
              "LumAsynchronousSocksHttpClient: Making " + method + " request to https://host:81/path?a=b%20c");
    EXPECT_EQ(records[1].format, "LumAsynchronousSocksHttpClient: Request completed with status %d");
    EXPECT_EQ(records[1].message, "LumAsynchronousSocksHttpClient: Request completed with status 200");
    for (const LogRecord& record : records) {
        EXPECT_EQ(record.function, kRequestFunction);
        EXPECT_TRUE(endsWithPath(record.file, kSourceFile));
        EXPECT_NE(record.thread, std::this_thread::get_id());
    }
}

const std::string kUrl = "https://host:81/path?a=b%20c";
const Headers kHeaders = {{"B", "2"}, {"A", "1"}};

INSTANTIATE_TEST_SUITE_P(
    Operations, SocksOperationTest,
    testing::Values(Operation{"Get",
                              [](Client& client, const HttpCompletion& completion, const std::string&) {
                                  return client.Get(kUrl, kHeaders, completion, true, 30);
                              },
                              u"GET", false},
                    Operation{"Post",
                              [](Client& client, const HttpCompletion& completion, const std::string& body) {
                                  return client.Post(kUrl, kHeaders, body, completion, true, 30);
                              },
                              u"POST", true},
                    Operation{"Put",
                              [](Client& client, const HttpCompletion& completion, const std::string& body) {
                                  return client.Put(kUrl, kHeaders, body, completion, true, 30);
                              },
                              u"PUT", true},
                    Operation{"Patch",
                              [](Client& client, const HttpCompletion& completion, const std::string& body) {
                                  return client.Patch(kUrl, kHeaders, body, completion, true, 30);
                              },
                              u"PATCH", true},
                    Operation{"Delete",
                              [](Client& client, const HttpCompletion& completion, const std::string&) {
                                  return client.Delete(kUrl, kHeaders, completion, true, 30);
                              },
                              u"DELETE", false}),
    [](const auto& operation) { return std::string(operation.param.name); });

TEST_F(SocksClientTest, TheResponseArrivesWithAListOfValuesPerName)
{
    FakeResponse response;
    response.httpCode = 201;
    response.body = u"te\0xt"s;
    response.headers = Lines{u"Content-Type: text/html", u"X-A:1", u"X-A: 2", u"bogus", u": nameless"};
    socks->answer(response);
    const Outcome outcome = fetch();
    EXPECT_EQ(outcome.result, HttpRequestResult::SUCCESS);
    EXPECT_EQ(outcome.error, nullptr);
    ASSERT_NE(outcome.response, nullptr);
    EXPECT_EQ(outcome.response->statusCode, 201);
    EXPECT_EQ(outcome.response->body, "te\0xt"s);
    EXPECT_EQ(outcome.response->headers, (std::map<std::string, std::vector<std::string>>{
                                             {"", {"nameless"}}, {"Content-Type", {"text/html"}}, {"X-A", {"2"}}}));
    EXPECT_NE(outcome.thread, std::this_thread::get_id());
}

TEST_F(SocksClientTest, AStatusIsNoFailure)
{
    for (const int status : {301, 404, 500}) {
        FakeResponse response;
        response.httpCode = status;
        socks->answer(response);
        const Outcome outcome = fetch();
        EXPECT_EQ(outcome.result, HttpRequestResult::SUCCESS);
        ASSERT_NE(outcome.response, nullptr);
        EXPECT_EQ(outcome.response->statusCode, status);
    }
}

TEST_F(SocksClientTest, RedirectsAndTimeOutsAreTheHosts)
{
    FakeResponse response;
    response.httpCode = 302;
    response.headers = Lines{u"Location: http://elsewhere/"};
    socks->answer(response);
    for (const bool follow : {true, false}) {
        for (const int timeout : {-1, 0, 1}) {
            const RequestRecorder recorder;
            const auto transaction = client->Get("http://host/", {}, recorder.Completion(), follow, timeout);
            EXPECT_EQ(recorder.WaitForOutcome().response->statusCode, 302);
        }
    }
    EXPECT_EQ(socks->requests().size(), 6U);
}

TEST_F(SocksClientTest, AUrlThatCannotBeParsedIsRefused)
{
    const RequestRecorder recorder;
    EXPECT_EQ(client->Get("no url", {}, recorder.Completion(), true, 30), nullptr);
    EXPECT_TRUE(recorder.IsReleased());
    EXPECT_EQ(logger->recordsOfLevel(LumLogLevel::Error).at(0).message, "Failed to parse URL: no url");
    EXPECT_TRUE(socks->requests().empty());
}

TEST_F(SocksClientTest, SendArrivesToo)
{
    class Request : public ILumUrlRequest {
    public:
        Request() { ParseUrl("http://host/sent", url); }
        const UrlComponents& GetUrlComponents() override { return url; }
        HttpMethod GetMethod() override { return HttpMethod::Put; }
        const Headers& GetHeaders() override { return headers; }
        const std::vector<std::uint8_t>& GetBody() override { return body; }

    private:
        UrlComponents url;
        Headers headers{{"A", "1"}};
        std::vector<std::uint8_t> body{'b', 0, 'y'};
    };
    const RequestRecorder recorder;
    const auto transaction = client->Send(std::make_shared<Request>(), recorder.Completion(), true, 30);
    EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::SUCCESS);
    EXPECT_EQ(socks->requests().at(0).payload, u"b\0y"s);
}

// Failures of the host.

class HostExceptionTest : public SocksClientTest, public testing::WithParamInterface<const char*> {};

TEST_P(HostExceptionTest, FailsTheRequestAndReachesTheLogOnly)
{
    socks->fail(exceptionOf(GetParam(), u"It broke: 100%s."));
    expectFailed(fetch());
    EXPECT_EQ(onlyError(), "SOCKS HTTP request error: It broke: 100%s.");
    EXPECT_EQ(logger->recordsOfLevel(LumLogLevel::Error)[0].format, "SOCKS HTTP request error: %s");
}

INSTANTIATE_TEST_SUITE_P(Types, HostExceptionTest,
                         testing::Values("System.Exception", "System.Net.WebException",
                                         "System.OperationCanceledException", "System.IO.IOException",
                                         "System.NotImplementedException"));

class LostMessageTest : public SocksClientTest {
protected:
    void expectLost(const std::shared_ptr<FakeException>& exception)
    {
        socks->fail(exception);
        expectFailed(fetch());
        EXPECT_EQ(onlyError(), "SOCKS HTTP request error: Failed to marshal exception message");
    }
};

TEST_F(LostMessageTest, AMessageThatIsNull)
{
    expectLost(std::make_shared<FakeException>("System.Exception", std::nullopt));
}

TEST_F(LostMessageTest, AMessageThatThrows)
{
    const auto exception = exceptionOf("System.Exception", u"never seen");
    exception->thrownByMessage = exceptionOf("System.InvalidOperationException", u"no message");
    expectLost(exception);
}

TEST_F(LostMessageTest, AMessageThatMemoryIsMissingFor)
{
    std::optional<AllocationLimit> limit;
    host.beforeGiving = [&] { limit.emplace(1U << 15U); };
    expectLost(exceptionOf("System.Exception", std::u16string(1U << 16U, u'x')));
    limit.reset();
}

TEST_F(LostMessageTest, AMessageWhoseFailureCannotEvenBeDescribed)
{
    host.refusesExceptions = true;
    expectLost(std::make_shared<FakeException>("System.Exception", std::nullopt));
}

TEST_F(LostMessageTest, AMessageWithUnpairedSurrogatesWhereTheEncodingRefusesThem)
{
    const auto exception = exceptionOf("System.Exception", std::u16string(u"a") + char16_t{0xDC00});
    if (kRefusesUnpairedSurrogates) {
        expectLost(exception);
    } else {
        socks->fail(exception);
        expectFailed(fetch());
        EXPECT_EQ(onlyError(), "SOCKS HTTP request error: a?");
    }
}

TEST_F(SocksClientTest, AMessageOutsideAsciiIsInTheWorkersEncoding)
{
    const auto workerLogger = std::make_shared<JapaneseWorkerLogger>();
    client = std::make_unique<Client>(workerLogger, host.lend(socks));
    socks->fail(exceptionOf("System.Exception", u"\u3042"));
    expectFailed(fetch());
    EXPECT_EQ(workerLogger->errorMessage(), std::string("SOCKS HTTP request error: ") + kHiragana);
}

TEST_F(SocksClientTest, ANullBodyFailsTheRequest)
{
    FakeResponse response;
    response.body = std::nullopt;
    socks->answer(response);
    expectFailed(fetch());
    EXPECT_EQ(onlyError(), "SOCKS HTTP request error: Value cannot be null. (Parameter 'NULLPTR is not supported for "
                           "this conversion.')");
}

TEST_F(SocksClientTest, ANullHeaderLineFailsTheRequest)
{
    FakeResponse response;
    response.headers = Lines{u"A: 1", std::nullopt};
    socks->answer(response);
    expectFailed(fetch());
    EXPECT_EQ(onlyError(), "SOCKS HTTP request error: Value cannot be null. (Parameter 'NULLPTR is not supported for "
                           "this conversion.')");
}

TEST_F(SocksClientTest, InvalidBytesFailTheRequestAndTheHostIsNotCalled)
{
    const auto workerLogger = std::make_shared<JapaneseWorkerLogger>();
    client = std::make_unique<Client>(workerLogger, host.lend(socks));
    expectFailed(fetch({{"Header", kInvalidByte}}));
    EXPECT_EQ(workerLogger->errorMessage(),
              "SOCKS HTTP request error: Conversion from MultiByte to WideChar failed.  Please check the content "
              "of the string and/or locale settings.");
    EXPECT_TRUE(socks->requests().empty());
}

TEST_F(SocksClientTest, AResponseThatMemoryIsMissingForFailsTheRequest)
{
    FakeResponse response;
    response.body = std::u16string(1U << 20U, u'x');
    socks->answer(response);
    std::optional<AllocationLimit> limit;
    host.beforeGiving = [&] { limit.emplace(1U << 19U); };
    expectFailed(fetch());
    limit.reset();
    EXPECT_EQ(onlyError(), "SOCKS HTTP request error: "s + std::bad_alloc().what());
}

TEST_F(SocksClientTest, ARequestThatCannotBeDescribedIsRefusedAndLogged)
{
    const std::string body(1U << 20U, 'x');
    const RequestRecorder recorder;
    {
        const AllocationLimit limit(1U << 19U);
        EXPECT_EQ(client->Post("http://host/", {}, body, recorder.Completion(), true, 30), nullptr);
    }
    EXPECT_TRUE(recorder.IsReleased());
    ASSERT_EQ(logger->recordsOfLevel(LumLogLevel::Error).size(), 1U);
    EXPECT_EQ(logger->recordsOfLevel(LumLogLevel::Error)[0].message,
              "SOCKS HTTP request error: "s + std::bad_alloc().what());
    EXPECT_TRUE(socks->requests().empty());
}

// Loggers that throw on the worker.

class ThrowingLoggerTest : public SocksClientTest {
protected:
    std::mutex mutex;
    std::vector<std::string> messages;

    void setLogger(HookedLogger::Hook hook)
    {
        client = std::make_unique<Client>(
            std::make_shared<HookedLogger>([this, hook](LumLogLevel level, const std::string& message) {
                {
                    const std::lock_guard<std::mutex> lock(mutex);
                    messages.push_back(message);
                }
                hook(level, message);
            }),
            host.lend(socks));
    }

    std::string lastMessage()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return messages.back();
    }
};

TEST_F(ThrowingLoggerTest, AnExceptionBeforeTheCallFailsTheRequestUnsent)
{
    setLogger([](LumLogLevel, const std::string& message) {
        if (isMaking(message)) {
            throw std::runtime_error("no sink");
        }
    });
    expectFailed(fetch());
    EXPECT_EQ(lastMessage(), "SOCKS HTTP request error: no sink");
    EXPECT_TRUE(socks->requests().empty());
}

TEST_F(ThrowingLoggerTest, AnExceptionAfterTheCallFailsTheRequestToo)
{
    setLogger([](LumLogLevel, const std::string& message) {
        if (message.find("completed") != std::string::npos) {
            throw std::runtime_error("no sink");
        }
    });
    expectFailed(fetch());
    EXPECT_EQ(socks->requests().size(), 1U);
}

TEST_F(ThrowingLoggerTest, SomethingElseThanAnExceptionIsUnknown)
{
    setLogger([](LumLogLevel, const std::string& message) {
        if (isMaking(message)) {
            throw 5;
        }
    });
    expectFailed(fetch());
    EXPECT_EQ(lastMessage(), "SOCKS HTTP request error: Unknown exception");
}

class EverThrowingLoggerTest : public ThrowingLoggerTest, public testing::WithParamInterface<int> {
protected:
    std::atomic<bool> isThrowing{false};

    void throwAsTold()
    {
        if (!isThrowing) {
            return;
        }
        switch (GetParam()) {
        case 0:
            throw std::runtime_error("no sink");
        case 1:
            throw 5;
        default:
            throw LumUtilsCli::ManagedException(
                LumUtilsCli::ManagedHandle(host.lend(exceptionOf("System.IO.IOException", u"disk full"))));
        }
    }
};

TEST_P(EverThrowingLoggerTest, ThrowsInTheErrorHandlerTooAndTheRequestFailsOnce)
{
    setLogger([&](LumLogLevel, const std::string&) { throwAsTold(); });
    isThrowing = true;
    const RequestRecorder recorder;
    const auto transaction = client->Get("http://host/", {}, recorder.Completion(), true, 30);
    expectFailed(recorder.WaitForOutcome());
    recorder.WaitForRelease();
    EXPECT_EQ(recorder.CallCount(), 1U);
}

/// Expects that whatever the client refuses at once it refuses without throwing.
void expectRefusals(Client& client)
{
    class UnknownMethod : public ILumUrlRequest {
    public:
        const UrlComponents& GetUrlComponents() override { return url; }
        HttpMethod GetMethod() override { return static_cast<HttpMethod>(5); }
        const Headers& GetHeaders() override { return headers; }
        const std::vector<std::uint8_t>& GetBody() override { return body; }

    private:
        UrlComponents url;
        Headers headers;
        std::vector<std::uint8_t> body;
    };
    EXPECT_EQ(client.Get("ftp://x", {}, nullptr, true, 30), nullptr);
    EXPECT_EQ(client.Post("ftp://x", {}, "body", nullptr, true, 30), nullptr);
    EXPECT_EQ(client.Put("ftp://x", {}, "body", nullptr, true, 30), nullptr);
    EXPECT_EQ(client.Patch("ftp://x", {}, "body", nullptr, true, 30), nullptr);
    EXPECT_EQ(client.Delete("ftp://x", {}, nullptr, true, 30), nullptr);
    EXPECT_EQ(client.Send(nullptr, nullptr, true, 30), nullptr);
    EXPECT_EQ(client.Send(std::make_shared<UnknownMethod>(), nullptr, true, 30), nullptr);
}

TEST_P(EverThrowingLoggerTest, RefusalsLoseTheirRecordsOnly)
{
    setLogger([&](LumLogLevel, const std::string&) { throwAsTold(); });
    isThrowing = true;
    messages.clear();
    expectRefusals(*client);
    EXPECT_EQ(messages.size(), 7U) << "one record for each";
    EXPECT_TRUE(socks->requests().empty());
}

INSTANTIATE_TEST_SUITE_P(Exceptions, EverThrowingLoggerTest, testing::Values(0, 1, 2));

TEST_F(SocksClientTest, AManagedLoggerThatThrowsAtRefusalsLosesItsRecordsOnly)
{
    const auto managed = std::make_shared<FakeManagedLogger>();
    client = std::make_unique<Client>(
        std::make_shared<LumUtilsCli::LumUtilsLoggerDelegateCliAdapter>(host.lend(managed)), host.lend(socks));
    managed->onLog = [](const ManagedRecord&) { throw ManagedThrow{exceptionOf("System.Exception", u"full")}; };
    expectRefusals(*client);
    EXPECT_EQ(managed->recordsOf("LogError").size(), 7U) << "one record for each";
}

TEST_F(SocksClientTest, ACompletionThatThrowsWhenItIsCopiedRefusesTheRequest)
{
    UrlComponents url;
    url.host = "host";
    for (const std::function<void()>& throwException : kHostExceptions) {
        EXPECT_EQ(client->Get(url, {}, ThrowingCopy(throwException), true, 30), nullptr);
    }
    const std::vector<LogRecord> errors = logger->recordsOfLevel(LumLogLevel::Error);
    ASSERT_EQ(errors.size(), 2U);
    EXPECT_EQ(errors[0].message, "SOCKS HTTP request error: disk full");
    EXPECT_EQ(errors[1].message, "SOCKS HTTP request error: Unknown exception");
    EXPECT_TRUE(socks->requests().empty());
}

TEST_F(SocksClientTest, AManagedLoggerThatThrowsFailsTheRequestOnce)
{
    const auto managed = std::make_shared<FakeManagedLogger>();
    client = std::make_unique<Client>(
        std::make_shared<LumUtilsCli::LumUtilsLoggerDelegateCliAdapter>(host.lend(managed)), host.lend(socks));
    managed->onLog = [](const ManagedRecord&) { throw ManagedThrow{exceptionOf("System.Exception", u"full")}; };
    expectFailed(fetch());
    EXPECT_EQ(managed->recordsOf("LogError").at(0).message, u"SOCKS HTTP request error: full");
}

TEST_F(SocksClientTest, ACompletionThatThrowsIsLoggedAndGoesNoFurther)
{
    const RequestRecorder recorder;
    const auto transaction =
        client->Get("http://host/", {},
                    recorder.Completion([](Outcome&, const auto&) { throw std::runtime_error("not mine"); }), true, 30);
    recorder.WaitForRelease();
    EXPECT_EQ(logger->recordsOfLevel(LumLogLevel::Error).at(0).message, "Completion callback threw: not mine");
}

TEST_F(SocksClientTest, ACompletedRequestThatIsHeldKeepsNeitherItsBodyNorItsResponse)
{
    constexpr std::size_t kSize = std::size_t{4} << 20U;
    constexpr std::size_t kMostKept = kSize / 8;
    socks->keepsRequests = false;
    for (const bool isCancelled : {false, true}) {
        fetch();
        FakeResponse response;
        response.body = std::u16string(kSize, u'a');
        socks->answer(std::move(response));
        const std::size_t before = heapInUse();
        const RequestRecorder recorder;
        const auto transaction =
            client->Post("http://host/", {}, std::string(kSize, 'b'), recorder.Completion(), true, 30);
        if (isCancelled) {
            transaction->Cancel();
        }
        recorder.WaitForOutcome();
        recorder.WaitForRelease();
        EXPECT_LT(heapInUse(), before + kMostKept);
    }
}

TEST_F(SocksClientTest, WithoutCompletionTheRequestIsSentAllTheSame)
{
    auto transaction = client->Get("http://host/", {}, nullptr, true, 30);
    ASSERT_TRUE(waitUntil([&] { return socks->requests().size() == 1; }));
    transaction.reset();
}

TEST_F(SocksClientTest, WithoutLoggerRequestsAreCarriedOut)
{
    client = std::make_unique<Client>(nullptr, host.lend(socks));
    EXPECT_EQ(fetch().result, HttpRequestResult::SUCCESS);
    socks->fail(exceptionOf("System.Exception", u"x"));
    expectFailed(fetch());
}

// Cancelling.

class HeldWorkerTest : public SocksClientTest {
protected:
    Gate gate;
};

TEST_F(HeldWorkerTest, CancelledBeforeTheWorkerLooksTheHostIsNotCalled)
{
    // A new thread takes far longer to begin than Cancel, but one of many may be quick.
    constexpr std::size_t kAttempts = 200;
    std::atomic<std::size_t> cancelled{0};
    std::atomic<std::size_t> begun{0};
    socks->onSend = [&](const FakeRequest&) {
        EXPECT_TRUE(waitUntil([&] { return cancelled == begun; }));
        return FakeResponse();
    };
    for (std::size_t attempt = 0; attempt < kAttempts; ++attempt) {
        const RequestRecorder recorder;
        ++begun;
        const auto transaction = client->Get("http://host/", {}, recorder.Completion(), true, 30);
        transaction->Cancel();
        ++cancelled;
        const Outcome outcome = recorder.WaitForOutcome();
        expectCancelled(outcome);
        EXPECT_EQ(outcome.transaction, transaction.get());
    }
    EXPECT_LT(socks->requests().size(), kAttempts);
    EXPECT_EQ(logger->recordsOfLevel(LumLogLevel::Info).size(), 2 * socks->requests().size());
    EXPECT_TRUE(logger->recordsOfLevel(LumLogLevel::Error).empty());
}

TEST_F(HeldWorkerTest, CancelledDuringTheCallTheResponseIsDropped)
{
    socks->onSend = [&](const FakeRequest&) {
        gate.pass();
        return FakeResponse();
    };
    const RequestRecorder recorder;
    const auto transaction = client->Get("http://host/", {}, recorder.Completion(), true, 30);
    gate.waitForArrival();
    EXPECT_FALSE(transaction->IsCancelled());
    transaction->Cancel();
    transaction->Cancel();
    EXPECT_TRUE(transaction->IsCancelled());
    EXPECT_EQ(recorder.CallCount(), 0U) << "the call is not interrupted";
    gate.open();
    expectCancelled(recorder.WaitForOutcome());
}

TEST_F(HeldWorkerTest, CancelledDuringACallThatThrowsItIsCancelled)
{
    socks->onSend = [&](const FakeRequest&) -> FakeResponse {
        gate.pass();
        throw ManagedThrow{exceptionOf("System.Exception", u"x")};
    };
    const RequestRecorder recorder;
    const auto transaction = client->Get("http://host/", {}, recorder.Completion(), true, 30);
    gate.waitForArrival();
    transaction->Cancel();
    gate.open();
    expectCancelled(recorder.WaitForOutcome());
    EXPECT_EQ(onlyError(), "SOCKS HTTP request error: x");
}

TEST_F(HeldWorkerTest, CancelledAfterTheCompletionNothingHappens)
{
    const RequestRecorder recorder;
    const auto transaction = client->Get("http://host/", {}, recorder.Completion(), true, 30);
    EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::SUCCESS);
    transaction->Cancel();
    recorder.WaitForRelease();
    EXPECT_EQ(recorder.CallCount(), 1U);
}

// Lifetimes.

TEST_F(HeldWorkerTest, TheTransactionDroppedDuringTheCallTheCompletionStillComes)
{
    socks->onSend = [&](const FakeRequest&) {
        gate.pass();
        return FakeResponse();
    };
    const RequestRecorder recorder;
    auto transaction = client->Get("http://host/", {}, recorder.Completion(), true, 30);
    gate.waitForArrival();
    // The worker holds the transaction while it calls the host, so that this does not wait.
    transaction.reset();
    gate.open();
    const Outcome outcome = recorder.WaitForOutcome();
    EXPECT_EQ(outcome.result, HttpRequestResult::SUCCESS);
    EXPECT_NE(outcome.response, nullptr);
    EXPECT_EQ(outcome.transaction, nullptr);
}

TEST_F(HeldWorkerTest, TheTransactionDroppedDuringACallThatThrowsTheFailureStillComes)
{
    socks->onSend = [&](const FakeRequest&) -> FakeResponse {
        gate.pass();
        throw ManagedThrow{exceptionOf("System.Exception", u"x")};
    };
    const RequestRecorder recorder;
    auto transaction = client->Get("http://host/", {}, recorder.Completion(), true, 30);
    gate.waitForArrival();
    transaction.reset();
    gate.open();
    const Outcome outcome = recorder.WaitForOutcome();
    expectFailed(outcome);
    EXPECT_EQ(outcome.transaction, nullptr);
    EXPECT_EQ(onlyError(), "SOCKS HTTP request error: x");
}

// Only the transaction knows that it was cancelled.
TEST_F(HeldWorkerTest, CancelledAndDroppedDuringTheCallTheResponseComes)
{
    socks->onSend = [&](const FakeRequest&) {
        gate.pass();
        return FakeResponse();
    };
    const RequestRecorder recorder;
    auto transaction = client->Get("http://host/", {}, recorder.Completion(), true, 30);
    gate.waitForArrival();
    transaction->Cancel();
    transaction.reset();
    gate.open();
    const Outcome outcome = recorder.WaitForOutcome();
    EXPECT_EQ(outcome.result, HttpRequestResult::SUCCESS);
    EXPECT_NE(outcome.response, nullptr);
    EXPECT_EQ(outcome.transaction, nullptr);
}

TEST_F(HeldWorkerTest, TheClientDestroyedDuringCallsTheyGoOn)
{
    constexpr int kRequests = 20;
    socks->onSend = [&](const FakeRequest&) {
        gate.pass();
        return FakeResponse();
    };
    std::vector<RequestRecorder> recorders(kRequests);
    std::vector<std::shared_ptr<ILumAsynchronousTransaction>> transactions;
    for (const RequestRecorder& recorder : recorders) {
        transactions.push_back(client->Get("http://host/", {}, recorder.Completion(), true, 30));
    }
    gate.waitForArrival(kRequests);
    client.reset();
    EXPECT_EQ(host.nativeHandles(), 2U) << "the requests hold the adapter";
    gate.open();
    for (const RequestRecorder& recorder : recorders) {
        EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::SUCCESS);
    }
    transactions.clear();
    EXPECT_TRUE(waitUntil([&] { return host.nativeHandles() == 0 && logger.use_count() == 1; }));
}

/// The host's call of a request whose transaction is let go meanwhile is not waited for.
TEST_F(HeldWorkerTest, LettingTheTransactionGoDuringTheCallDoesNotWaitForTheHost)
{
    std::atomic<bool> isAnswered{false};
    socks->onSend = [&](const FakeRequest&) {
        gate.pass();
        isAnswered = true;
        return FakeResponse();
    };
    const RequestRecorder recorder;
    auto transaction = client->Get("http://host/", {}, recorder.Completion(), true, 30);
    gate.waitForArrival();
    transaction.reset();
    EXPECT_FALSE(isAnswered);
    gate.open();
    EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::SUCCESS);
}

/// The members after the base's are part of the binary interface: the logger, then the adapter.
TEST_F(SocksClientTest, TheLoggerAndTheAdapterStandAfterTheBase)
{
    struct Members {
        std::shared_ptr<ILumUtilsLoggerDelegate> logger;
        std::shared_ptr<LumNetworkingCli::SocksHttpClientCliAdapter> adapter;
    };
    static_assert(sizeof(Client) == sizeof(LumAsynchronousHttpClientBase) + sizeof(Members));
    const auto other = std::make_shared<RecordingLogger>();
    const Client own(other, host.lend(socks));
    const auto* const base = static_cast<const LumAsynchronousHttpClientBase*>(&own);
    const auto* const members = reinterpret_cast<const Members*>(base + 1);
    EXPECT_EQ(members->logger.get(), other.get());
    EXPECT_EQ(members->adapter.use_count(), 1);
    EXPECT_EQ(members->adapter->SendAndGetResponse("GET", "http://host/", {}, "").statusCode, 200);
}

TEST_F(SocksClientTest, TheTransactionMayBeDroppedAtOnce)
{
    constexpr std::size_t kRequests = 300;
    std::atomic<std::size_t> sent{0};
    std::atomic<std::size_t> withoutResponse{0};
    socks->onSend = [&](const FakeRequest&) {
        ++sent;
        return FakeResponse();
    };
    std::vector<RequestRecorder> recorders(kRequests);
    for (const RequestRecorder& recorder : recorders) {
        client->Get("http://host/", {}, recorder.Completion([&](Outcome& outcome, const auto&) {
            EXPECT_EQ(outcome.result, HttpRequestResult::SUCCESS);
            EXPECT_EQ(outcome.error, nullptr);
            withoutResponse += outcome.response ? 0 : 1;
            EXPECT_TRUE(outcome.response || outcome.transaction == nullptr);
        }),
                    true, 30);
    }
    for (const RequestRecorder& recorder : recorders) {
        recorder.WaitForRelease();
        EXPECT_EQ(recorder.CallCount(), 1U);
    }
    EXPECT_EQ(sent + withoutResponse, kRequests);
    EXPECT_GT(withoutResponse, 0U) << "a new thread takes longer to begin than the transaction to go";
    EXPECT_EQ(logger->records().size(), 2 * sent) << "one that was not sent is not logged";
    client.reset();
    EXPECT_TRUE(waitUntil([&] { return host.nativeHandles() == 0; }));
}

TEST_F(SocksClientTest, TheCompletionMayBeTheLastHolderOfTheTransaction)
{
    for (int round = 0; round < 50; ++round) {
        const RequestRecorder recorder;
        const auto held = std::make_shared<std::shared_ptr<ILumAsynchronousTransaction>>();
        const auto ready = std::make_shared<Gate>();
        *held = client->Get("http://host/", {}, recorder.Completion([held, ready](Outcome&, const auto&) {
            ready->pass();
            held->reset();
        }),
                            true, 30);
        ready->open();
        recorder.WaitForRelease();
    }
    client.reset();
    EXPECT_TRUE(waitUntil([&] { return host.nativeHandles() == 0; }));
    EXPECT_TRUE(waitUntil([&] { return logger.use_count() == 1; }));
}

TEST_F(SocksClientTest, ACompletionMayStartRequestsCancelThemAndDestroyTheClient)
{
    Gate gate;
    socks->onSend = [&](const FakeRequest& request) {
        if (request.url == u"http://host/2") {
            gate.pass();
        }
        return FakeResponse();
    };
    const RequestRecorder first;
    const RequestRecorder second;
    std::shared_ptr<ILumAsynchronousTransaction> next;
    const auto transaction = client->Get("http://host/1", {}, first.Completion([&](Outcome&, const auto&) {
        next = client->Get("http://host/2", {}, second.Completion(), true, 30);
        next->Cancel();
        gate.open();
        client.reset();
    }),
                                         true, 30);
    EXPECT_EQ(first.WaitForOutcome().result, HttpRequestResult::SUCCESS);
    expectCancelled(second.WaitForOutcome());
}

TEST_F(SocksClientTest, TheHostsObjectLivesUntilTheLastRequestIsGone)
{
    const RequestRecorder recorder;
    auto transaction = client->Get("http://host/", {}, recorder.Completion(), true, 30);
    recorder.WaitForRelease();
    client.reset();
    EXPECT_EQ(host.nativeHandles(), 2U) << "the transaction holds the request, and that the adapter";
    transaction.reset();
    EXPECT_TRUE(waitUntil([&] { return host.nativeHandles() == 0; }));
}

} // namespace
