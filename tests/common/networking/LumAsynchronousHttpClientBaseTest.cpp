#include "common/networking/LumAsynchronousHttpClientBase.h"

#include "Windows/networking/WinHttpAsyncTransaction.h"
#include "common/networking/LumNetworkingError.h"
#include "support/RecordingLogger.h"
#include "support/ThrowingLogger.h"
#include "support/VtableSlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using LumNetworking::HttpCompletion;
using LumNetworking::HttpMethod;
using LumNetworking::ILumAsynchronousHttpClient;
using LumNetworking::ILumAsynchronousTransaction;
using LumNetworking::ILumUrlRequest;
using LumNetworking::LumAsynchronousHttpClientBase;
using LumNetworking::UrlComponents;
using LumTests::LogRecord;
using LumTests::RecordingLogger;
using LumUtils::LumLogLevel;
using Headers = std::map<std::string, std::string>;
using TransactionPointer = std::shared_ptr<ILumAsynchronousTransaction>;
using TestTransaction = LumNetworking::WinHttpAsyncTransaction<int>;

const std::string kAllBytes("\0\x01\xFF\r\n", 5);

/// One call of an operation that takes the URL parsed.
struct Call {
    std::string operation;
    UrlComponents url;
    Headers headers;
    bool hasBody;
    std::string body;
    bool followRedirects;
    int timeoutSeconds;
};

/// A client that overrides only the five operations that it must.
class RecordingClient : public LumAsynchronousHttpClientBase {
public:
    using LumAsynchronousHttpClientBase::Delete;
    using LumAsynchronousHttpClientBase::Get;
    using LumAsynchronousHttpClientBase::LumAsynchronousHttpClientBase;
    using LumAsynchronousHttpClientBase::Patch;
    using LumAsynchronousHttpClientBase::Post;
    using LumAsynchronousHttpClientBase::Put;

    TransactionPointer Get(const UrlComponents& url, const Headers& headers, const HttpCompletion& completion,
                           bool followRedirects, int timeoutSeconds) override
    {
        return keep({"Get", url, headers, false, "", followRedirects, timeoutSeconds}, completion);
    }
    TransactionPointer Post(const UrlComponents& url, const Headers& headers, const std::string& body,
                            const HttpCompletion& completion, bool followRedirects, int timeoutSeconds) override
    {
        return keep({"Post", url, headers, true, body, followRedirects, timeoutSeconds}, completion);
    }
    TransactionPointer Put(const UrlComponents& url, const Headers& headers, const std::string& body,
                           const HttpCompletion& completion, bool followRedirects, int timeoutSeconds) override
    {
        return keep({"Put", url, headers, true, body, followRedirects, timeoutSeconds}, completion);
    }
    TransactionPointer Patch(const UrlComponents& url, const Headers& headers, const std::string& body,
                             const HttpCompletion& completion, bool followRedirects, int timeoutSeconds) override
    {
        return keep({"Patch", url, headers, true, body, followRedirects, timeoutSeconds}, completion);
    }
    TransactionPointer Delete(const UrlComponents& url, const Headers& headers, const HttpCompletion& completion,
                              bool followRedirects, int timeoutSeconds) override
    {
        return keep({"Delete", url, headers, false, "", followRedirects, timeoutSeconds}, completion);
    }

    const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& loggerOfBase() const { return logger; }

    std::vector<Call> calls;
    std::vector<HttpCompletion> completions;
    TransactionPointer result = std::make_shared<TestTransaction>();

private:
    TransactionPointer keep(Call call, const HttpCompletion& completion)
    {
        calls.push_back(std::move(call));
        completions.push_back(completion);
        return result;
    }
};

class Request : public ILumUrlRequest {
public:
    const UrlComponents& GetUrlComponents() override { return read("url", url); }
    HttpMethod GetMethod() override { return read("method", method); }
    const Headers& GetHeaders() override { return read("headers", headers); }
    const std::vector<std::uint8_t>& GetBody() override { return read("body", body); }

    UrlComponents url;
    HttpMethod method = HttpMethod::Get;
    Headers headers;
    std::vector<std::uint8_t> body;
    std::vector<std::string> reads;

private:
    template <typename Value>
    const Value& read(const char* name, const Value& value)
    {
        reads.emplace_back(name);
        return value;
    }
};

struct Operation {
    const char* name;
    unsigned int line;
    bool hasBody;
};

const Operation kOperations[] = {
    {"Get", 23, false}, {"Post", 36, true}, {"Put", 49, true}, {"Patch", 62, true}, {"Delete", 75, false}};

class LumAsynchronousHttpClientBaseTest : public testing::Test {
protected:
    /// Calls the operation of that name through the interface, as hosts do; Url is the text or the parsed form.
    template <typename Url>
    TransactionPointer call(const Operation& operation, const Url& url, bool followRedirects = true, int timeout = 30)
    {
        ILumAsynchronousHttpClient& interface = client;
        const std::string name = operation.name;
        if (name == "Get") {
            return interface.Get(url, headers, completion, followRedirects, timeout);
        }
        if (name == "Post") {
            return interface.Post(url, headers, kAllBytes, completion, followRedirects, timeout);
        }
        if (name == "Put") {
            return interface.Put(url, headers, kAllBytes, completion, followRedirects, timeout);
        }
        if (name == "Patch") {
            return interface.Patch(url, headers, kAllBytes, completion, followRedirects, timeout);
        }
        return interface.Delete(url, headers, completion, followRedirects, timeout);
    }

    LogRecord onlyRecord() const
    {
        const std::vector<LogRecord> records = recorder->records();
        EXPECT_EQ(records.size(), 1U);
        return records.empty() ? LogRecord{} : records.front();
    }

    const std::shared_ptr<RecordingLogger> recorder = std::make_shared<RecordingLogger>();
    RecordingClient client{recorder};
    int completed = 0;
    const HttpCompletion completion = [this](auto&&...) { ++completed; };
    const Headers headers{{"Accept", "text/html"}, {"X-Empty", ""}};
};

TEST_F(LumAsynchronousHttpClientBaseTest, OperationsStandInTheirSlots)
{
    using Client = ILumAsynchronousHttpClient;
    using WithoutBody =
        TransactionPointer (Client::*)(const std::string&, const Headers&, const HttpCompletion&, bool, int);
    using WithoutBodyParsed =
        TransactionPointer (Client::*)(const UrlComponents&, const Headers&, const HttpCompletion&, bool, int);
    using WithBody = TransactionPointer (Client::*)(const std::string&, const Headers&, const std::string&,
                                                    const HttpCompletion&, bool, int);
    using WithBodyParsed = TransactionPointer (Client::*)(const UrlComponents&, const Headers&, const std::string&,
                                                          const HttpCompletion&, bool, int);
    using LumTests::vtableSlot;
    EXPECT_EQ(vtableSlot(&Client::Send), 1U);
    EXPECT_EQ(vtableSlot(static_cast<WithoutBody>(&Client::Get)), 2U);
    EXPECT_EQ(vtableSlot(static_cast<WithoutBodyParsed>(&Client::Get)), 3U);
    EXPECT_EQ(vtableSlot(static_cast<WithBody>(&Client::Post)), 4U);
    EXPECT_EQ(vtableSlot(static_cast<WithBodyParsed>(&Client::Post)), 5U);
    EXPECT_EQ(vtableSlot(static_cast<WithBody>(&Client::Put)), 6U);
    EXPECT_EQ(vtableSlot(static_cast<WithBodyParsed>(&Client::Put)), 7U);
    EXPECT_EQ(vtableSlot(static_cast<WithBody>(&Client::Patch)), 8U);
    EXPECT_EQ(vtableSlot(static_cast<WithBodyParsed>(&Client::Patch)), 9U);
    EXPECT_EQ(vtableSlot(static_cast<WithoutBody>(&Client::Delete)), 10U);
    EXPECT_EQ(vtableSlot(static_cast<WithoutBodyParsed>(&Client::Delete)), 11U);
}

TEST_F(LumAsynchronousHttpClientBaseTest, TransactionAndRequestOperationsStandInTheirSlots)
{
    using LumTests::vtableSlot;
    EXPECT_EQ(vtableSlot(&ILumAsynchronousTransaction::Cancel), 1U);
    EXPECT_EQ(vtableSlot(&ILumAsynchronousTransaction::IsCancelled), 2U);
    EXPECT_EQ(vtableSlot(&ILumUrlRequest::GetUrlComponents), 1U);
    EXPECT_EQ(vtableSlot(&ILumUrlRequest::GetMethod), 2U);
    EXPECT_EQ(vtableSlot(&ILumUrlRequest::GetHeaders), 3U);
    EXPECT_EQ(vtableSlot(&ILumUrlRequest::GetBody), 4U);
}

TEST_F(LumAsynchronousHttpClientBaseTest, InterfacesAreAbstractAndTheBaseToo)
{
    EXPECT_TRUE(std::is_abstract_v<ILumAsynchronousHttpClient>);
    EXPECT_TRUE(std::is_abstract_v<LumAsynchronousHttpClientBase>);
    EXPECT_TRUE(std::is_abstract_v<ILumAsynchronousTransaction>);
    EXPECT_TRUE(std::is_abstract_v<ILumUrlRequest>);
    EXPECT_TRUE(std::has_virtual_destructor_v<ILumAsynchronousHttpClient>);
    EXPECT_TRUE(std::has_virtual_destructor_v<ILumAsynchronousTransaction>);
    EXPECT_TRUE(std::has_virtual_destructor_v<ILumUrlRequest>);
}

TEST_F(LumAsynchronousHttpClientBaseTest, NetworkingDomainHasItsText)
{
    EXPECT_EQ(LumNetworking::LibLumNetworkingErrorDomain, "com.corvan.clientlibs.liblumnetworking.error");
}

TEST_F(LumAsynchronousHttpClientBaseTest, LoggerIsCopiedAndKept)
{
    EXPECT_EQ(client.loggerOfBase(), recorder);
    EXPECT_EQ(recorder.use_count(), 2);
}

TEST_F(LumAsynchronousHttpClientBaseTest, UrlThatCannotBeParsedIsLoggedAndRefused)
{
    for (const Operation& operation : kOperations) {
        for (const std::string url : {"no scheme", "", "ftp://h", "http://", "http://h:99999/", "http://100%s%n/"}) {
            recorder->clear();
            EXPECT_EQ(call(operation, url), nullptr);
            const LogRecord record = onlyRecord();
            EXPECT_EQ(record.level, LumLogLevel::Error);
            EXPECT_TRUE(LumTests::endsWithPath(record.file, "src/common/networking/LumAsynchronousHttpClientBase.cpp"))
                << record.file;
            EXPECT_EQ(record.function, std::string("LumNetworking::LumAsynchronousHttpClientBase::") + operation.name);
            EXPECT_EQ(record.line, operation.line);
            EXPECT_EQ(record.format, "Failed to parse URL: %s");
            EXPECT_EQ(record.message, "Failed to parse URL: " + url);
            EXPECT_EQ(record.thread, std::this_thread::get_id());
        }
    }
    EXPECT_TRUE(client.calls.empty());
    EXPECT_EQ(completed, 0);
}

TEST_F(LumAsynchronousHttpClientBaseTest, UrlTextIsParsedAndForwardedWithEverythingElse)
{
    for (const Operation& operation : kOperations) {
        client.calls.clear();
        client.completions.clear();
        EXPECT_EQ(call(operation, std::string("https://h:8443/p?a=x%20y"), false, -7), client.result);
        ASSERT_EQ(client.calls.size(), 1U);
        const Call& made = client.calls[0];
        EXPECT_EQ(made.operation, operation.name);
        EXPECT_TRUE(made.url.isSecure);
        EXPECT_EQ(made.url.host, "h");
        EXPECT_EQ(made.url.port, 8443U);
        EXPECT_EQ(made.url.path, "/p");
        EXPECT_EQ(made.url.queryParameters, (Headers{{"a", "x y"}}));
        EXPECT_EQ(made.headers, headers);
        EXPECT_EQ(made.hasBody, operation.hasBody);
        EXPECT_EQ(made.body, operation.hasBody ? kAllBytes : "");
        EXPECT_FALSE(made.followRedirects);
        EXPECT_EQ(made.timeoutSeconds, -7);
        client.completions[0](LumNetworking::HttpRequestResult::CANCELLED, nullptr, nullptr, nullptr);
    }
    EXPECT_EQ(completed, 5) << "the caller's completion is passed on";
    EXPECT_TRUE(recorder->records().empty());
}

TEST_F(LumAsynchronousHttpClientBaseTest, FollowRedirectsAndTimeoutArePassedOn)
{
    for (const Operation& operation : kOperations) {
        client.calls.clear();
        call(operation, std::string("http://h"), true, 2147483647);
        ASSERT_EQ(client.calls.size(), 1U);
        EXPECT_TRUE(client.calls[0].followRedirects);
        EXPECT_EQ(client.calls[0].timeoutSeconds, 2147483647);
    }
}

TEST_F(LumAsynchronousHttpClientBaseTest, EmptyTransactionOfTheClientIsReturned)
{
    client.result = nullptr;
    for (const Operation& operation : kOperations) {
        EXPECT_EQ(call(operation, std::string("http://h")), nullptr);
    }
    EXPECT_EQ(client.calls.size(), 5U);
}

TEST_F(LumAsynchronousHttpClientBaseTest, SendOfAnEmptyRequestIsLoggedAndRefused)
{
    EXPECT_EQ(client.Send(nullptr, completion, true, 30), nullptr);
    const LogRecord record = onlyRecord();
    EXPECT_EQ(record.level, LumLogLevel::Error);
    EXPECT_TRUE(LumTests::endsWithPath(record.file, "src/common/networking/LumAsynchronousHttpClientBase.cpp"));
    EXPECT_EQ(record.function, "LumNetworking::LumAsynchronousHttpClientBase::Send");
    EXPECT_EQ(record.line, 85U);
    EXPECT_EQ(record.format, "LumUrlRequest is null.");
    EXPECT_EQ(record.message, "LumUrlRequest is null.");
    EXPECT_TRUE(client.calls.empty());
    EXPECT_EQ(completed, 0);
}

TEST_F(LumAsynchronousHttpClientBaseTest, SendOfAnUnknownMethodIsLoggedAndRefused)
{
    for (const int value : {5, -1, 2147483647}) {
        recorder->clear();
        const auto request = std::make_shared<Request>();
        request->method = static_cast<HttpMethod>(value);
        EXPECT_EQ(client.Send(request, completion, true, 30), nullptr);
        const LogRecord record = onlyRecord();
        EXPECT_EQ(record.level, LumLogLevel::Error);
        EXPECT_TRUE(LumTests::endsWithPath(record.file, "src/common/networking/LumAsynchronousHttpClientBase.cpp"));
        EXPECT_EQ(record.function, "LumNetworking::LumAsynchronousHttpClientBase::Send");
        EXPECT_EQ(record.line, 119U);
        EXPECT_EQ(record.format, "Unsupported HTTP method in LumUrlRequest.");
        EXPECT_EQ(request->reads.size(), 4U) << "nothing is read twice";
    }
    EXPECT_TRUE(client.calls.empty());
    EXPECT_EQ(completed, 0);
}

TEST_F(LumAsynchronousHttpClientBaseTest, SendReadsTheRequestOnceInOrder)
{
    for (int method = 0; method <= 4; ++method) {
        const auto request = std::make_shared<Request>();
        request->method = static_cast<HttpMethod>(method);
        client.Send(request, completion, true, 30);
        EXPECT_THAT(request->reads, testing::ElementsAre("url", "headers", "method", "body"));
    }
}

TEST_F(LumAsynchronousHttpClientBaseTest, SendDispatchesOnTheMethod)
{
    for (int method = 0; method <= 4; ++method) {
        client.calls.clear();
        const Operation& operation = kOperations[method];
        const auto request = std::make_shared<Request>();
        request->method = static_cast<HttpMethod>(method);
        request->headers = headers;
        request->body.assign(kAllBytes.begin(), kAllBytes.end());
        request->url.host = "not valid, yet not parsed again";
        request->url.path = "p";
        request->url.port = 70000;
        EXPECT_EQ(client.Send(request, completion, false, 5), client.result);
        ASSERT_EQ(client.calls.size(), 1U);
        const Call& made = client.calls[0];
        EXPECT_EQ(made.operation, operation.name);
        EXPECT_EQ(made.url.host, "not valid, yet not parsed again");
        EXPECT_EQ(made.url.path, "p");
        EXPECT_EQ(made.url.port, 70000U);
        EXPECT_EQ(made.headers, headers);
        EXPECT_EQ(made.hasBody, operation.hasBody) << "GET and DELETE ignore the body";
        EXPECT_EQ(made.body, operation.hasBody ? kAllBytes : "");
        EXPECT_FALSE(made.followRedirects);
        EXPECT_EQ(made.timeoutSeconds, 5);
    }
    EXPECT_TRUE(recorder->records().empty());
    EXPECT_EQ(completed, 0);
}

TEST_F(LumAsynchronousHttpClientBaseTest, SendOfAnEmptyBodyPostsAnEmptyByteString)
{
    for (const HttpMethod method : {HttpMethod::Post, HttpMethod::Put, HttpMethod::Patch}) {
        client.calls.clear();
        const auto request = std::make_shared<Request>();
        request->method = method;
        client.Send(request, completion, true, 30);
        ASSERT_EQ(client.calls.size(), 1U);
        EXPECT_TRUE(client.calls[0].hasBody);
        EXPECT_EQ(client.calls[0].body, "");
    }
}

TEST_F(LumAsynchronousHttpClientBaseTest, ARefusalLosesOnlyItsRecordToALoggerThatThrows)
{
    for (const std::function<void()>& throwException : LumTests::kHostExceptions) {
        const auto throwing = std::make_shared<LumTests::ThrowingLogger>(throwException);
        RecordingClient refusing(throwing);
        const auto unknown = std::make_shared<Request>();
        unknown->method = static_cast<HttpMethod>(5);
        for (const std::string url : {"ftp://x", "", "http://[@127.0.0.1:81#]:82/x"}) {
            EXPECT_EQ(refusing.Get(url, headers, completion, true, 30), nullptr);
            EXPECT_EQ(refusing.Post(url, headers, "body", completion, true, 30), nullptr);
            EXPECT_EQ(refusing.Put(url, headers, "body", completion, true, 30), nullptr);
            EXPECT_EQ(refusing.Patch(url, headers, "body", completion, true, 30), nullptr);
            EXPECT_EQ(refusing.Delete(url, headers, completion, true, 30), nullptr);
        }
        EXPECT_EQ(refusing.Send(nullptr, completion, true, 30), nullptr);
        EXPECT_EQ(refusing.Send(unknown, completion, true, 30), nullptr);
        EXPECT_EQ(throwing->recordCount(), 17) << "one record for each refusal";
        EXPECT_TRUE(refusing.calls.empty());
        EXPECT_EQ(refusing.Get(std::string("http://h"), headers, completion, true, 30), refusing.result);
    }
    EXPECT_EQ(completed, 0);
}

TEST_F(LumAsynchronousHttpClientBaseTest, WhatTheCallersOwnObjectsThrowRefusesTheRequest)
{
    class ThrowingRequest : public Request {
    public:
        explicit ThrowingRequest(std::function<void()> code) : throwException(std::move(code)) {}
        const std::vector<std::uint8_t>& GetBody() override
        {
            throwException();
            return body;
        }

    private:
        const std::function<void()> throwException;
    };
    for (const std::function<void()>& throwException : LumTests::kHostExceptions) {
        recorder->clear();
        EXPECT_EQ(client.Send(std::make_shared<ThrowingRequest>(throwException), completion, true, 30), nullptr);
        EXPECT_EQ(onlyRecord().function, "LumNetworking::LumAsynchronousHttpClientBase::Send");
        EXPECT_EQ(onlyRecord().message.substr(0, 30), "Failed to start HTTP request: ");
        EXPECT_EQ(client.Get(std::string("http://h"), headers, LumTests::ThrowingCopy(throwException), true, 30),
                  nullptr);
    }
    EXPECT_EQ(recorder->records().size(), 2U);
    EXPECT_EQ(recorder->records()[0].message, "Failed to start HTTP request: Unknown exception");
    EXPECT_TRUE(client.completions.empty());
}

TEST_F(LumAsynchronousHttpClientBaseTest, OperationsMayRunOnSeveralThreads)
{
    class CountingClient : public RecordingClient {
    public:
        using RecordingClient::Get;
        using RecordingClient::RecordingClient;
        TransactionPointer Get(const UrlComponents& /*url*/, const Headers& /*headers*/,
                               const HttpCompletion& /*completion*/, bool /*followRedirects*/,
                               int /*timeoutSeconds*/) override
        {
            return std::make_shared<TestTransaction>();
        }
    };
    CountingClient shared(recorder);
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&shared, this] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_NE(shared.Get(std::string("http://h"), headers, completion, true, 1), nullptr);
                EXPECT_EQ(shared.Get(std::string("h"), headers, completion, true, 1), nullptr);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(recorder->records().size(), 200U);
}

TEST_F(LumAsynchronousHttpClientBaseTest, CancelSetsTheFlagOnAnyThreadAndTwiceIsHarmless)
{
    const TransactionPointer transaction = std::make_shared<TestTransaction>();
    EXPECT_FALSE(transaction->IsCancelled());
    std::thread([transaction] { transaction->Cancel(); }).join();
    EXPECT_TRUE(transaction->IsCancelled());
    transaction->Cancel();
    EXPECT_TRUE(transaction->IsCancelled());
}

TEST_F(LumAsynchronousHttpClientBaseTest, TransactionHoldsItsContextForItsLife)
{
    const auto context = std::make_shared<int>(7);
    auto transaction = std::make_shared<TestTransaction>();
    transaction->SetContext(context);
    EXPECT_EQ(context.use_count(), 2);
    transaction.reset();
    EXPECT_EQ(context.use_count(), 1);
}

} // namespace
