#include "scripted/Windows/networking/ScriptedRequest.h"

#include "support/AllocationLimit.h"
#include "support/ProcessResources.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace {

using LumNetworking::HttpRequestResult;
using LumTests::LogRecord;
using LumTests::Scripted::errorText;
using LumTests::Scripted::kCallback;
using LumTests::Scripted::kHelperFile;
using LumTests::Scripted::kTransportFile;
using LumTests::Scripted::ThrowingLogger;
using LumUtils::LumLogLevel;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

int platformCodeOf(const LumUtils::ILumError& error)
{
    return std::any_cast<int>(error.getUserInfo().at("LumErrorUnderlyingErrorCode"));
}

/// A request that has been sent and waits for its notifications.
class WinHttpResponseTest : public LumTests::Scripted::ScriptedRequest {
protected:
    void start(std::deque<std::string> chunks = {})
    {
        platform.chunks = std::move(chunks);
        startGet();
    }

    void deliverToHeaders()
    {
        platform.deliverSendComplete();
        platform.deliverHeadersAvailable();
    }

    void expectCallbackFailure(DWORD platformCode, const std::string& apiName, unsigned int line)
    {
        expectFailed({13, platformCode, apiName, kTransportFile, kCallback, line});
    }

    void expectInfo(const LogRecord& record, unsigned int line, const std::string& format, const std::string& message)
    {
        EXPECT_EQ(record.level, LumLogLevel::Info);
        EXPECT_TRUE(LumTests::endsWithPath(record.file, kTransportFile)) << record.file;
        EXPECT_EQ(record.function, kCallback);
        EXPECT_EQ(record.line, line);
        EXPECT_EQ(record.format, format);
        EXPECT_EQ(record.message, message);
    }
};

TEST_F(WinHttpResponseTest, CollectsStatusHeadersAndBodyStepByStep)
{
    platform.status = 404;
    platform.headerBlock = u"HTTP/1.1 404 Not Found\r\nA: 1\r\nB:2\r\n\r\n";
    start({std::string("ab\0", 3), "c"});
    platform.deliverSendComplete();
    EXPECT_EQ(platform.countOf("WinHttpReceiveResponse"), 1);
    platform.deliverHeadersAvailable();
    EXPECT_EQ(platform.countOf("WinHttpQueryDataAvailable"), 1);
    platform.deliverDataAvailable();
    EXPECT_EQ(platform.countOf("WinHttpReadData"), 1);
    platform.deliverReadComplete();
    EXPECT_EQ(platform.countOf("WinHttpQueryDataAvailable"), 2);
    platform.deliverDataAvailable();
    platform.deliverReadComplete();
    EXPECT_TRUE(outcomes.empty());
    platform.deliverDataAvailable();
    expectSuccess(404, std::string("ab\0c", 4));
    EXPECT_EQ(outcomes[0].transaction, transaction);
    EXPECT_THAT(outcomes[0].response->headers, ElementsAre(Pair("A", ElementsAre("1")), Pair("B", ElementsAre("2"))));
    const std::vector<LogRecord> records = recorder->records();
    ASSERT_EQ(records.size(), 2U);
    expectInfo(records[0], 105, "HTTP status code is %d", "HTTP status code is 404");
    expectInfo(records[1], 136, "Response body is read successfully.", "Response body is read successfully.");
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, MakesTheCallsOfTheResponseWithTheirArguments)
{
    start({"abcd"});
    const std::size_t before = platform.calls().size();
    platform.deliverWholeResponse();
    std::vector<std::string> calls = platform.calls();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_THAT(calls,
                ElementsAre("WinHttpReceiveResponse(request, reserved=null)",
                            "WinHttpQueryHeaders(request, level=0x20000013, name=null, buffer=set, size=4, index=null)",
                            "WinHttpQueryHeaders(request, level=0x16, name=null, buffer=null, size=0, index=null)",
                            "WinHttpQueryHeaders(request, level=0x16, name=null, buffer=set, size=40, index=null)",
                            "WinHttpQueryDataAvailable(request, available=null)",
                            "WinHttpReadData(request, buffer=set, size=4, read=null)",
                            "WinHttpQueryDataAvailable(request, available=null)"));
}

TEST_F(WinHttpResponseTest, EmptyBodyIsASuccess)
{
    platform.status = 204;
    start();
    platform.deliverWholeResponse();
    expectSuccess(204, "");
}

TEST_F(WinHttpResponseTest, NotificationsInsideTheCallsAreSurvived)
{
    platform.deliversInsideCalls = true;
    start({"first ", "second ", "third"});
    expectSuccess(200, "first second third");
    EXPECT_EQ(recorder->records().size(), 2U);
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, NotificationsInsideTheCallsMayFail)
{
    platform.deliversInsideCalls = true;
    platform.failCall("WinHttpReadData", 2, ERROR_WINHTTP_CONNECTION_ERROR);
    start({"first ", "second "});
    expectCallbackFailure(ERROR_WINHTTP_CONNECTION_ERROR, "WinHttpReadData", 142);
}

TEST_F(WinHttpResponseTest, ShortReadsAddUp)
{
    start();
    deliverToHeaders();
    platform.chunks = {"ab"};
    platform.deliverDataAvailable(1000);
    platform.deliverReadComplete();
    platform.chunks = {"cd"};
    platform.deliverDataAvailable(3);
    platform.deliverReadComplete();
    platform.deliverDataAvailable(0);
    expectSuccess(200, "abcd");
}

TEST_F(WinHttpResponseTest, ReadCompleteOfLengthZeroDoesNothing)
{
    start({"ab"});
    deliverToHeaders();
    platform.deliverDataAvailable();
    const std::size_t before = platform.calls().size();
    platform.notify(WINHTTP_CALLBACK_STATUS_READ_COMPLETE);
    EXPECT_EQ(platform.calls().size(), before);
    EXPECT_TRUE(outcomes.empty());
    platform.deliverReadComplete();
    platform.deliverDataAvailable();
    expectSuccess(200, "ab");
}

TEST_F(WinHttpResponseTest, RepeatedHeaderKeepsItsLastValueInAListOfOne)
{
    platform.headerBlock = u"HTTP/1.1 200 OK\r\nA: 1\r\na: 3\r\nA: 2\r\n\r\n";
    start();
    platform.deliverWholeResponse();
    expectSuccess(200, "");
    EXPECT_THAT(outcomes[0].response->headers, ElementsAre(Pair("A", ElementsAre("2")), Pair("a", ElementsAre("3"))));
}

TEST_F(WinHttpResponseTest, FalseContentLengthDoesNoHarm)
{
    for (const char16_t* const length :
         {u"0", u"1", u"18446744073709551615", u"99999999999999999999999", u"-1", u"x", u"", u"1099511627776"}) {
        outcomes.clear();
        platform.headerBlock = std::u16string(u"HTTP/1.1 200 OK\r\nContent-Length: ") + length + u"\r\n\r\n";
        start({"abc"});
        platform.deliverWholeResponse();
        expectSuccess(200, "abc");
    }
}

TEST_F(WinHttpResponseTest, FailingReceiveResponseIsReported)
{
    platform.failCall("WinHttpReceiveResponse", 1, ERROR_WINHTTP_INCORRECT_HANDLE_STATE);
    start();
    platform.deliverSendComplete();
    expectCallbackFailure(ERROR_WINHTTP_INCORRECT_HANDLE_STATE, "WinHttpReceiveResponse", 94);
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, FailingStatusQueryIsReported)
{
    platform.failCall("WinHttpQueryHeaders", 1, ERROR_WINHTTP_INTERNAL_ERROR);
    start();
    deliverToHeaders();
    expectCallbackFailure(ERROR_WINHTTP_INTERNAL_ERROR, "WinHttpQueryHeaders", 124);
    EXPECT_EQ(recorder->records().size(), 1U) << "the status is not logged";
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, FailingHeaderQueriesAreReportedTwice)
{
    struct Row {
        int query;
        unsigned int line;
        DWORD code;
    };
    for (const Row& row :
         {Row{2, 95, ERROR_WINHTTP_INCORRECT_HANDLE_STATE}, Row{3, 98, ERROR_WINHTTP_CONNECTION_ERROR}}) {
        recorder->clear();
        outcomes.clear();
        platform.failCall("WinHttpQueryHeaders", platform.countOf("WinHttpQueryHeaders") + row.query, row.code);
        start();
        deliverToHeaders();
        ASSERT_EQ(outcomes.size(), 1U);
        EXPECT_EQ(outcomes[0].result, HttpRequestResult::FAILED);
        const LumTests::Scripted::ExpectedFailure failure{
            13, row.code, "WinHttpQueryHeaders", kHelperFile, "GetResponseHeaders", row.line};
        LumTests::Scripted::expectError(outcomes[0].error.get(), failure);
        const std::vector<LogRecord> errors = recorder->recordsOfLevel(LumLogLevel::Error);
        ASSERT_EQ(errors.size(), 2U);
        LumTests::Scripted::expectFailureRecord(errors[0], failure);
        EXPECT_TRUE(LumTests::endsWithPath(errors[1].file, kTransportFile));
        EXPECT_EQ(errors[1].function, kCallback);
        EXPECT_EQ(errors[1].format, "Error occurred while querying headers: %s");
        EXPECT_EQ(errors[1].message, "Error occurred while querying headers: " + errorText(13, row.code));
        EXPECT_EQ(platform.countOf("WinHttpQueryDataAvailable"), 0);
        expectHandlesCloseWithTheTransaction(3);
    }
}

TEST_F(WinHttpResponseTest, FailingQueryDataAvailableAfterTheHeadersIsReported)
{
    platform.failCall("WinHttpQueryDataAvailable", 1, ERROR_WINHTTP_CONNECTION_ERROR);
    start();
    deliverToHeaders();
    expectCallbackFailure(ERROR_WINHTTP_CONNECTION_ERROR, "WinHttpQueryDataAvailable", 119);
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, FailingReadDataIsReported)
{
    platform.failCall("WinHttpReadData", 1, ERROR_WINHTTP_TIMEOUT);
    start({"ab"});
    deliverToHeaders();
    platform.deliverDataAvailable();
    expectCallbackFailure(ERROR_WINHTTP_TIMEOUT, "WinHttpReadData", 142);
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, FailingQueryDataAvailableAfterAReadIsReported)
{
    platform.failCall("WinHttpQueryDataAvailable", 2, ERROR_WINHTTP_CONNECTION_ERROR);
    start({"ab"});
    deliverToHeaders();
    platform.deliverDataAvailable();
    platform.deliverReadComplete();
    expectCallbackFailure(ERROR_WINHTTP_CONNECTION_ERROR, "WinHttpQueryDataAvailable", 156);
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, RequestErrorIsReportedFromTheLastErrorInEveryState)
{
    for (int steps = 0; steps < 4; ++steps) {
        outcomes.clear();
        recorder->clear();
        start({"ab"});
        if (steps > 0) {
            platform.deliverSendComplete();
        }
        if (steps > 1) {
            platform.deliverHeadersAvailable();
        }
        if (steps > 2) {
            platform.deliverDataAvailable();
        }
        platform.deliverRequestError(ERROR_WINHTTP_NAME_NOT_RESOLVED);
        expectCallbackFailure(ERROR_WINHTTP_NAME_NOT_RESOLVED, "WINHTTP_CALLBACK_STATUS_REQUEST_ERROR", 167);
        expectHandlesCloseWithTheTransaction(3);
    }
}

TEST_F(WinHttpResponseTest, MessageTextIsTrimmedAndItsPartsAreFreed)
{
    platform.texts[ERROR_WINHTTP_TIMEOUT] = " The operation timed out \r\n";
    start();
    platform.deliverRequestError(ERROR_WINHTTP_TIMEOUT);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].error->getDescription(), errorText(13, ERROR_WINHTTP_TIMEOUT, "The operation timed out"));
    EXPECT_THAT(platform.calls("FormatMessageA"),
                ElementsAre("FormatMessageA(flags=0x1b00, source=set, code=12002, language=0x400, buffer=set, size=0, "
                            "arguments=null)"));
    EXPECT_THAT(platform.calls("LoadLibraryW"), ElementsAre("LoadLibraryW(\"winhttp.dll\")"));
    EXPECT_EQ(platform.countOf("LocalFree"), 1);
    EXPECT_EQ(platform.countOf("FreeLibrary"), 1);
    EXPECT_EQ(platform.heldBuffers(), 0);
    EXPECT_EQ(platform.heldModules(), 0);
}

TEST_F(WinHttpResponseTest, NumberWithoutATextIsNamed)
{
    platform.numbersWithoutText = {54321};
    start();
    platform.deliverRequestError(54321);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].error->getDescription(), errorText(13, 54321, "Unknown error code 54321"));
}

TEST_F(WinHttpResponseTest, CancelGoesBeforeTheResponse)
{
    start({"ab"});
    deliverToHeaders();
    const std::size_t before = platform.calls().size();
    transaction->Cancel();
    EXPECT_EQ(platform.calls().size(), before) << "cancelling only sets the flag";
    EXPECT_TRUE(outcomes.empty());
    platform.deliverDataAvailable();
    platform.deliverReadComplete();
    EXPECT_TRUE(outcomes.empty()) << "the transfer runs on";
    platform.deliverDataAvailable();
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::CANCELLED);
    EXPECT_EQ(outcomes[0].response, nullptr);
    EXPECT_EQ(outcomes[0].error, nullptr);
    EXPECT_EQ(outcomes[0].transaction, transaction);
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, CancelGoesBeforeTheError)
{
    start();
    std::thread([this] { transaction->Cancel(); }).join();
    platform.deliverRequestError(ERROR_WINHTTP_TIMEOUT);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::CANCELLED);
    EXPECT_EQ(outcomes[0].error, nullptr);
    EXPECT_EQ(outcomes[0].response, nullptr);
    EXPECT_EQ(recorder->recordsOfLevel(LumLogLevel::Error).size(), 1U) << "the failure is logged all the same";
}

TEST_F(WinHttpResponseTest, CancelAfterTheCompletionChangesNothing)
{
    start();
    platform.deliverWholeResponse();
    transaction->Cancel();
    expectSuccess(200, "");
    EXPECT_TRUE(transaction->IsCancelled());
}

TEST_F(WinHttpResponseTest, RoomForTheBodyIsMadeHoweverItsLengthIsSpelt)
{
    constexpr std::size_t kLength = 100000;
    for (const char16_t* const name : {u"Content-Length", u"content-length", u"CONTENT-LENGTH", u"cOnTeNt-lEnGtH"}) {
        outcomes.clear();
        platform.headerBlock = std::u16string(u"HTTP/1.1 200 OK\r\n") + name + u": 100000\r\n\r\n";
        start({std::string(60000, 'a'), std::string(40000, 'b')});
        platform.deliverWholeResponse();
        ASSERT_EQ(outcomes.size(), 1U);
        EXPECT_EQ(outcomes[0].response->body.size(), kLength);
        EXPECT_EQ(outcomes[0].response->body.capacity(), kLength) << "it did not grow by doubling";
    }
}

/// How much of the heap the request holds when it is completed and its outcome is gone, but its transaction is not.
TEST_F(WinHttpResponseTest, HeldTransactionKeepsNoMemoryOfTheResponse)
{
    constexpr std::size_t kChunk = std::size_t{4} << 20U;
    constexpr std::size_t kMostKept = std::size_t{16} << 10U;
    enum class End { Success, Failure, Cancel, NoCompletion };
    for (const End end : {End::Success, End::Failure, End::Cancel, End::NoCompletion}) {
        platform.headerBlock = u"HTTP/1.1 200 OK\r\nContent-Length: 8388608\r\n\r\n";
        const std::size_t before = LumTests::heapInUse();
        platform.chunks = {std::string(kChunk, 'a'), std::string(kChunk, 'b')};
        if (end == End::NoCompletion) {
            transaction = client.Get(url, headers, nullptr, true, 30);
        } else {
            startGet();
        }
        if (end == End::Cancel) {
            transaction->Cancel();
        }
        platform.deliverSendComplete();
        platform.deliverHeadersAvailable();
        for (int chunk = 0; chunk < 2; ++chunk) {
            platform.deliverDataAvailable();
            platform.deliverReadComplete();
        }
        if (end == End::Failure) {
            platform.deliverRequestError(ERROR_WINHTTP_CONNECTION_ERROR);
        } else {
            platform.deliverDataAvailable();
        }
        EXPECT_EQ(outcomes.size(), end == End::NoCompletion ? 0U : 1U);
        outcomes.clear();
        recorder->clear();
        EXPECT_LT(LumTests::heapInUse(), before + kMostKept) << static_cast<int>(end);
        transaction.reset();
    }
}

TEST_F(WinHttpResponseTest, UploadIsThereUntilItsRequestIsClosed)
{
    const std::string body(std::size_t{512} << 10U, 'u');
    for (const bool succeeds : {true, false}) {
        transaction = client.Post(url, headers, body, completion(), true, 30);
        const auto* const sent = static_cast<const char*>(platform.lastBody());
        bool isIntact = false;
        platform.afterRequestCloses = [&] { isIntact = std::equal(body.begin(), body.end(), sent); };
        if (succeeds) {
            platform.deliverWholeResponse();
        } else {
            platform.deliverRequestError(ERROR_WINHTTP_CONNECTION_ERROR);
        }
        outcomes.clear();
        transaction.reset();
        EXPECT_TRUE(isIntact);
    }
}

TEST_F(WinHttpResponseTest, DroppedTransactionLetsTheRequestRunToItsEnd)
{
    start({"ab"});
    transaction.reset();
    EXPECT_EQ(platform.openHandles(), 3U) << "the platform's pending work holds the request";
    platform.deliverWholeResponse();
    expectSuccess(200, "ab");
    EXPECT_EQ(outcomes[0].transaction, nullptr);
    EXPECT_EQ(platform.openHandles(), 0U);
}

TEST_F(WinHttpResponseTest, DroppedTransactionOfAFailingRequestClosesEverything)
{
    start();
    transaction.reset();
    platform.deliverRequestError(ERROR_WINHTTP_TIMEOUT);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::FAILED);
    EXPECT_EQ(platform.openHandles(), 0U);
}

TEST_F(WinHttpResponseTest, TransactionMayBeDroppedInsideTheCompletion)
{
    int completed = 0;
    transaction = client.Get(
        url, headers,
        [&](auto&&...) {
            ++completed;
            transaction.reset();
        },
        true, 30);
    platform.deliverWholeResponse();
    EXPECT_EQ(completed, 1);
    EXPECT_EQ(platform.openHandles(), 0U);
}

TEST_F(WinHttpResponseTest, ClientMayBeDestroyedWhileARequestRunsAndInsideACompletion)
{
    auto owned = std::make_unique<LumNetworking::WinHttpClientAsync>(recorder);
    int completed = 0;
    transaction = owned->Get(
        url, headers,
        [&](auto&&...) {
            ++completed;
            owned.reset();
        },
        true, 30);
    platform.deliverWholeResponse();
    EXPECT_EQ(completed, 1);
    owned = std::make_unique<LumNetworking::WinHttpClientAsync>(recorder);
    transaction = owned->Get(url, headers, completion(), true, 30);
    owned.reset();
    platform.deliverWholeResponse();
    expectSuccess(200, "");
}

TEST_F(WinHttpResponseTest, UnknownNotificationsAreIgnored)
{
    start();
    const std::size_t before = platform.calls().size();
    for (DWORD bit = 1; bit != 0; bit <<= 1U) {
        const bool isKnown =
            (bit & (WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE | WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE |
                    WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE | WINHTTP_CALLBACK_STATUS_READ_COMPLETE |
                    WINHTTP_CALLBACK_STATUS_REQUEST_ERROR)) != 0;
        if (!isKnown) {
            platform.notify(bit);
        }
    }
    platform.notify(0);
    platform.notify(0xFFFFFFFF);
    EXPECT_EQ(platform.calls().size(), before);
    EXPECT_TRUE(outcomes.empty());
    EXPECT_THAT(recorder->records(), IsEmpty());
    platform.deliverWholeResponse();
    expectSuccess(200, "");
}

TEST_F(WinHttpResponseTest, EmptyContextIsIgnored)
{
    start();
    const std::size_t before = platform.calls().size();
    for (const DWORD notification : {WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE,
                                     WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE, WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE,
                                     WINHTTP_CALLBACK_STATUS_READ_COMPLETE, WINHTTP_CALLBACK_STATUS_REQUEST_ERROR,
                                     WINHTTP_CALLBACK_STATUS_HANDLE_CREATED, WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING}) {
        platform.notify(0, notification, nullptr, 0);
    }
    EXPECT_EQ(platform.calls().size(), before);
    EXPECT_TRUE(outcomes.empty());
    platform.deliverWholeResponse();
    expectSuccess(200, "");
}

TEST_F(WinHttpResponseTest, HandleClosingAfterTheContextIsGoneDoesNotReadIt)
{
    start();
    platform.deliverWholeResponse();
    outcomes.clear();
    transaction.reset();
    ASSERT_EQ(platform.openHandles(), 0U);
    const std::size_t before = platform.calls().size();
    platform.notify(WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING);
    EXPECT_EQ(platform.calls().size(), before);
    EXPECT_TRUE(outcomes.empty());
}

TEST_F(WinHttpResponseTest, LateNotificationsCompleteNothingTwice)
{
    start();
    platform.deliverWholeResponse();
    ASSERT_EQ(outcomes.size(), 1U);
    platform.deliverDataAvailable(0);
    platform.deliverDataAvailable(0);
    platform.deliverRequestError(ERROR_WINHTTP_CONNECTION_ERROR);
    platform.deliverHeadersAvailable();
    expectSuccess(200, "");
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, LateNotificationsAfterAFailureCompleteNothingTwice)
{
    start();
    platform.deliverRequestError(ERROR_WINHTTP_CONNECTION_ERROR);
    platform.deliverRequestError(ERROR_WINHTTP_TIMEOUT);
    platform.deliverDataAvailable(0);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::FAILED);
    LumTests::Scripted::expectError(outcomes[0].error.get(),
                                    {13, ERROR_WINHTTP_CONNECTION_ERROR, "", kTransportFile, kCallback, 167});
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, EmptyCompletionOfARunningRequestIsNotCalled)
{
    for (const bool succeeds : {true, false}) {
        transaction = client.Get(url, headers, nullptr, true, 30);
        succeeds ? platform.deliverWholeResponse() : platform.deliverRequestError(ERROR_WINHTTP_TIMEOUT);
        expectHandlesCloseWithTheTransaction(3);
    }
}

TEST_F(WinHttpResponseTest, ThrowingCompletionIsLoggedAndGoesNoFurther)
{
    transaction = client.Get(
        url, headers, [](auto&&...) { throw std::runtime_error("from the host"); }, true, 30);
    EXPECT_NO_THROW(platform.deliverWholeResponse());
    const std::vector<LogRecord> errors = recorder->recordsOfLevel(LumLogLevel::Error);
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].message, "Completion callback threw: from the host");
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, ThrowingLoggerFailsTheRequestAndGoesNoFurther)
{
    const auto throwing = std::make_shared<ThrowingLogger>();
    for (const bool throwsAtError : {false, true}) {
        outcomes.clear();
        throwing->throwsAtError = throwsAtError;
        LumNetworking::WinHttpClientAsync throwingClient(throwing);
        transaction = throwingClient.Get(url, headers, completion(), true, 30);
        platform.deliverSendComplete();
        EXPECT_NO_THROW(platform.deliverHeadersAvailable());
        ASSERT_EQ(outcomes.size(), 1U);
        EXPECT_EQ(outcomes[0].result, HttpRequestResult::FAILED);
        ASSERT_NE(outcomes[0].error, nullptr);
        EXPECT_EQ(outcomes[0].error->getCode(), 13);
        EXPECT_EQ(platformCodeOf(*outcomes[0].error), 12004);
        expectHandlesCloseWithTheTransaction(3);
    }
}

TEST_F(WinHttpResponseTest, ThrowingLoggerDoesNotHideTheErrorOfAFailedRequest)
{
    LumNetworking::WinHttpClientAsync throwingClient(std::make_shared<ThrowingLogger>());
    transaction = throwingClient.Get(url, headers, completion(), true, 30);
    EXPECT_NO_THROW(platform.deliverRequestError(ERROR_WINHTTP_TIMEOUT));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::FAILED);
    ASSERT_NE(outcomes[0].error, nullptr);
    EXPECT_EQ(outcomes[0].error->getCode(), 13);
    EXPECT_EQ(platformCodeOf(*outcomes[0].error), 12002);
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, ThrowingLoggerAndThrowingCompletionLeaveNothingOpen)
{
    LumNetworking::WinHttpClientAsync throwingClient(std::make_shared<ThrowingLogger>());
    int completed = 0;
    transaction = throwingClient.Get(
        url, headers,
        [&](auto&&...) {
            ++completed;
            throw std::runtime_error("from the host");
        },
        true, 30);
    platform.deliverSendComplete();
    EXPECT_NO_THROW(platform.deliverHeadersAvailable());
    EXPECT_EQ(completed, 1);
    transaction.reset();
    EXPECT_EQ(platform.openHandles(), 0U);
}

TEST_F(WinHttpResponseTest, ThrowingLoggerOfAFailedSendLeavesNothingOpen)
{
    platform.failCall("WinHttpSendRequest", 1, ERROR_WINHTTP_SHUTDOWN);
    LumNetworking::WinHttpClientAsync throwingClient(std::make_shared<ThrowingLogger>());
    try {
        transaction = throwingClient.Get(url, headers, completion(), true, 30);
    } catch (const std::runtime_error& exception) {
        EXPECT_STREQ(exception.what(), "error record") << "the logger's own exception may reach the caller";
    }
    outcomes.clear();
    transaction.reset();
    EXPECT_EQ(platform.openHandles(), 0U);
}

TEST_F(WinHttpResponseTest, ReadTooLargeForTheMemoryFailsTheRequest)
{
    start({"ab"});
    deliverToHeaders();
    {
        const LumTests::AllocationLimit limit(std::size_t{1} << 26U);
        EXPECT_NO_THROW(platform.deliverDataAvailable(0x40000000));
    }
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::FAILED);
    ASSERT_NE(outcomes[0].error, nullptr);
    EXPECT_EQ(outcomes[0].error->getDescription(), errorText(13, ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(recorder->recordsOfLevel(LumLogLevel::Error).size(), 1U);
    expectHandlesCloseWithTheTransaction(3);
}

TEST_F(WinHttpResponseTest, BodyTooLargeForTheMemoryFailsTheRequest)
{
    start({std::string(200000, 'x'), std::string(200000, 'y')});
    deliverToHeaders();
    platform.deliverDataAvailable();
    platform.deliverReadComplete();
    platform.deliverDataAvailable();
    {
        const LumTests::AllocationLimit limit(300000);
        EXPECT_NO_THROW(platform.deliverReadComplete());
    }
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::FAILED);
    ASSERT_NE(outcomes[0].error, nullptr);
    EXPECT_EQ(outcomes[0].error->getDescription(), errorText(13, ERROR_NOT_ENOUGH_MEMORY));
    expectHandlesCloseWithTheTransaction(3);
}

} // namespace
