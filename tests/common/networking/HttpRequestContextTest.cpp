#include "common/networking/HttpRequestContext.h"

#include "common/utils/LumError.h"
#include "support/RecordingLogger.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using LumNetworking::HttpRequestContext;
using LumNetworking::HttpRequestResult;
using LumNetworking::HttpResponse;
using LumNetworking::ILumAsynchronousTransaction;
using LumTests::LogRecord;
using LumTests::RecordingLogger;
using LumUtils::ILumError;
using LumUtils::LumError;
using LumUtils::LumLogLevel;

class Transaction : public ILumAsynchronousTransaction {
public:
    void Cancel() override { cancelled = true; }
    bool IsCancelled() const override { return cancelled; }

private:
    std::atomic<bool> cancelled{false};
};

struct Outcome {
    HttpRequestResult result;
    std::unique_ptr<HttpResponse> response;
    std::unique_ptr<ILumError> error;
    std::shared_ptr<ILumAsynchronousTransaction> transaction;
};

class HttpRequestContextTest : public testing::Test {
protected:
    HttpRequestContextTest() { context.transaction = transaction; }

    void storeResponse()
    {
        context.response = std::make_unique<HttpResponse>();
        context.response->statusCode = 204;
    }

    void storeError() { context.error = std::make_unique<LumError>("d", 13); }

    const std::shared_ptr<RecordingLogger> recorder = std::make_shared<RecordingLogger>();
    std::vector<Outcome> outcomes;
    std::shared_ptr<Transaction> transaction = std::make_shared<Transaction>();
    HttpRequestContext context{
        recorder, [this](HttpRequestResult result, std::unique_ptr<HttpResponse> response,
                         std::unique_ptr<ILumError> error, std::shared_ptr<ILumAsynchronousTransaction> handle) {
            outcomes.push_back({result, std::move(response), std::move(error), std::move(handle)});
        }};
};

TEST_F(HttpRequestContextTest, StartsUncompletedWithNothingInIt)
{
    EXPECT_FALSE(context.completed);
    EXPECT_EQ(context.response, nullptr);
    EXPECT_EQ(context.error, nullptr);
}

TEST_F(HttpRequestContextTest, ResponseIsASuccess)
{
    storeResponse();
    EXPECT_TRUE(context.Complete());
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::SUCCESS);
    ASSERT_NE(outcomes[0].response, nullptr);
    EXPECT_EQ(outcomes[0].response->statusCode, 204);
    EXPECT_EQ(outcomes[0].error, nullptr);
    EXPECT_EQ(outcomes[0].transaction, transaction);
    EXPECT_EQ(context.response, nullptr) << "the callee owns it";
}

TEST_F(HttpRequestContextTest, ErrorGoesBeforeResponse)
{
    storeResponse();
    storeError();
    EXPECT_TRUE(context.Complete());
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::FAILED);
    EXPECT_EQ(outcomes[0].response, nullptr);
    ASSERT_NE(outcomes[0].error, nullptr);
    EXPECT_EQ(outcomes[0].error->getCode(), 13);
    EXPECT_EQ(outcomes[0].transaction, transaction);
    EXPECT_EQ(context.error, nullptr) << "the callee owns it";
}

TEST_F(HttpRequestContextTest, CancelGoesBeforeErrorAndResponse)
{
    storeResponse();
    storeError();
    transaction->Cancel();
    EXPECT_TRUE(context.Complete());
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::CANCELLED);
    EXPECT_EQ(outcomes[0].response, nullptr);
    EXPECT_EQ(outcomes[0].error, nullptr);
    EXPECT_EQ(outcomes[0].transaction, transaction);
}

TEST_F(HttpRequestContextTest, CancelGoesBeforeResponse)
{
    storeResponse();
    transaction->Cancel();
    context.Complete();
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::CANCELLED);
    EXPECT_EQ(outcomes[0].response, nullptr);
}

TEST_F(HttpRequestContextTest, DroppedTransactionIsPassedOnEmpty)
{
    storeResponse();
    transaction->Cancel();
    transaction.reset();
    context.Complete();
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::SUCCESS) << "nobody holds the transaction that was cancelled";
    EXPECT_EQ(outcomes[0].transaction, nullptr);
}

TEST_F(HttpRequestContextTest, DroppedTransactionLeavesAnErrorAFailure)
{
    storeError();
    transaction.reset();
    context.Complete();
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, HttpRequestResult::FAILED);
    EXPECT_EQ(outcomes[0].transaction, nullptr);
}

TEST_F(HttpRequestContextTest, OnlyTheFirstCallCompletes)
{
    storeResponse();
    EXPECT_TRUE(context.Complete());
    storeError();
    EXPECT_FALSE(context.Complete());
    EXPECT_FALSE(context.Complete());
    EXPECT_EQ(outcomes.size(), 1U);
    EXPECT_TRUE(context.completed);
    EXPECT_TRUE(recorder->records().empty());
}

TEST_F(HttpRequestContextTest, CompletionSeesTheCompletedFlagSet)
{
    bool wasCompleted = false;
    HttpRequestContext* self = nullptr;
    HttpRequestContext other(recorder, [&](auto&&...) {
        wasCompleted = self->completed;
        EXPECT_FALSE(self->Complete()) << "completing again from inside does nothing";
    });
    self = &other;
    EXPECT_TRUE(other.Complete());
    EXPECT_TRUE(wasCompleted);
}

TEST_F(HttpRequestContextTest, EmptyCompletionIsNotCalled)
{
    HttpRequestContext silent(recorder, nullptr);
    EXPECT_TRUE(silent.Complete());
    EXPECT_FALSE(silent.Complete());
    EXPECT_TRUE(recorder->records().empty());
}

TEST_F(HttpRequestContextTest, ManyThreadsCompleteOnce)
{
    std::atomic<int> calls{0};
    std::atomic<int> firsts{0};
    HttpRequestContext shared(recorder, [&](auto&&...) { ++calls; });
    std::vector<std::thread> threads;
    for (int index = 0; index < 8; ++index) {
        threads.emplace_back([&] { firsts += shared.Complete() ? 1 : 0; });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(firsts, 1);
}

TEST_F(HttpRequestContextTest, ExceptionOfTheCompletionIsLoggedAndGoesNoFurther)
{
    HttpRequestContext throwing(recorder, [](auto&&...) { throw std::runtime_error("from the host"); });
    EXPECT_NO_THROW(EXPECT_TRUE(throwing.Complete()));
    const std::vector<LogRecord> records = recorder->records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, LumLogLevel::Error);
    EXPECT_EQ(records[0].function, "LumNetworking::HttpRequestContext::Complete");
    EXPECT_EQ(records[0].format, "Completion callback threw: %s");
    EXPECT_EQ(records[0].message, "Completion callback threw: from the host");
    EXPECT_TRUE(LumTests::endsWithPath(records[0].file, "src/common/networking/HttpRequestContext.cpp"));
}

TEST_F(HttpRequestContextTest, UnknownExceptionOfTheCompletionIsLoggedToo)
{
    HttpRequestContext throwing(recorder, [](auto&&...) { throw 42; });
    EXPECT_NO_THROW(EXPECT_TRUE(throwing.Complete()));
    const std::vector<LogRecord> records = recorder->records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, LumLogLevel::Error);
    EXPECT_EQ(records[0].message, "Completion callback threw an unknown exception");
}

class ThrowingLogger : public RecordingLogger {
public:
    void logError(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                  unsigned int /*line*/, ...) override
    {
        throw std::runtime_error("from the logger");
    }
};

TEST_F(HttpRequestContextTest, ExceptionOfTheLoggerGoesNoFurtherEither)
{
    const auto throwingLogger = std::make_shared<ThrowingLogger>();
    HttpRequestContext first(throwingLogger, [](auto&&...) { throw std::runtime_error("from the host"); });
    EXPECT_NO_THROW(EXPECT_TRUE(first.Complete()));
    HttpRequestContext second(throwingLogger, [](auto&&...) { throw 42; });
    EXPECT_NO_THROW(EXPECT_TRUE(second.Complete()));
    HttpRequestContext third(nullptr, [](auto&&...) { throw 42; });
    EXPECT_NO_THROW(EXPECT_TRUE(third.Complete()));
}

} // namespace
