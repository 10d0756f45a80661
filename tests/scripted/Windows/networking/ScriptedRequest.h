#pragma once

#include "Windows/networking/WinHttpClientAsync.h"
#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumError.h"
#include "support/RecordingLogger.h"
#include "support/ScriptedPlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace LumTests::Scripted {

/// What a failure is expected to report.
struct ExpectedFailure {
    int code;
    DWORD platformCode;
    std::string apiName;
    std::string file;
    std::string function;
    unsigned int line;
};

constexpr const char* kTransportFile = "src/Windows/networking/WinHttpClientAsync.cpp";
constexpr const char* kHelperFile = "src/Windows/networking/LibLumNetworkingWinUtils.cpp";
constexpr const char* kCallback = "LumNetworking::WinHttpAsyncCallback";

inline std::string errorText(int code, DWORD platformCode, const std::string& text)
{
    return "Domain: com.corvan.clientlibs.liblumnetworking.error, Code: " + std::to_string(code) +
           ", UserInfo: {LumErrorUnderlyingErrorCode: " + std::to_string(platformCode) +
           ", LumErrorUnderlyingErrorDescription: " + text + "}";
}

inline std::string errorText(int code, DWORD platformCode)
{
    return errorText(code, platformCode, "text of " + std::to_string(platformCode));
}

inline void expectError(const LumUtils::ILumError* error, const ExpectedFailure& expected)
{
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->getDomain(), "com.corvan.clientlibs.liblumnetworking.error");
    EXPECT_EQ(error->getCode(), expected.code);
    const std::map<std::string, std::any>& userInfo = error->getUserInfo();
    ASSERT_EQ(userInfo.size(), 2U);
    const auto* const number = std::any_cast<int>(&userInfo.at("LumErrorUnderlyingErrorCode"));
    const auto* const text = std::any_cast<std::string>(&userInfo.at("LumErrorUnderlyingErrorDescription"));
    ASSERT_NE(number, nullptr);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(*number, static_cast<int>(expected.platformCode));
    EXPECT_EQ(*text, "text of " + std::to_string(expected.platformCode));
}

inline void expectFailureRecord(const LogRecord& record, const ExpectedFailure& expected)
{
    EXPECT_EQ(record.level, LumUtils::LumLogLevel::Error);
    EXPECT_TRUE(endsWithPath(record.file, expected.file)) << record.file;
    EXPECT_EQ(record.function, expected.function);
    EXPECT_EQ(record.line, expected.line);
    EXPECT_EQ(record.format, "%s Failed with error description: %s");
    EXPECT_EQ(record.message,
              expected.apiName + " Failed with error description: " + errorText(expected.code, expected.platformCode));
}

/// What a completion received.
struct Outcome {
    LumNetworking::HttpRequestResult result;
    std::unique_ptr<LumNetworking::HttpResponse> response;
    std::unique_ptr<LumUtils::ILumError> error;
    std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> transaction;
};

/// A logger that throws at the chosen levels.
class ThrowingLogger : public RecordingLogger {
public:
    bool throwsAtError = true;

    void logError(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                  unsigned int /*line*/, ...) override
    {
        if (throwsAtError) {
            throw std::runtime_error("error record");
        }
    }
    void logInfo(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                 unsigned int /*line*/, ...) override
    {
        throw std::runtime_error("information record");
    }
};

/// A request of the transport on the scripted platform.
class ScriptedRequest : public testing::Test {
protected:
    ScriptedRequest()
    {
        url.host = "example.org";
        url.path = "/";
    }

    ~ScriptedRequest() override
    {
        outcomes.clear();
        transaction.reset();
        EXPECT_EQ(platform.openHandles(), 0U) << "all handles are closed";
        EXPECT_EQ(platform.heldBuffers(), 0) << "all message texts are freed";
        EXPECT_EQ(platform.heldModules(), 0) << "all modules are freed";
        EXPECT_THAT(platform.misuses(), testing::IsEmpty());
    }

    LumNetworking::HttpCompletion completion()
    {
        return [this](LumNetworking::HttpRequestResult result, std::unique_ptr<LumNetworking::HttpResponse> response,
                      std::unique_ptr<LumUtils::ILumError> error,
                      std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> handle) {
            outcomes.push_back({result, std::move(response), std::move(error), std::move(handle)});
        };
    }

    void startGet() { transaction = client.Get(url, headers, completion(), followRedirects, timeoutSeconds); }

    /// The request has failed once, as expected, and reported it in one record.
    void expectFailed(const ExpectedFailure& expected)
    {
        ASSERT_EQ(outcomes.size(), 1U);
        EXPECT_EQ(outcomes[0].result, LumNetworking::HttpRequestResult::FAILED);
        EXPECT_EQ(outcomes[0].response, nullptr);
        EXPECT_EQ(outcomes[0].transaction, transaction);
        expectError(outcomes[0].error.get(), expected);
        const std::vector<LogRecord> errors = recorder->recordsOfLevel(LumUtils::LumLogLevel::Error);
        ASSERT_EQ(errors.size(), 1U);
        expectFailureRecord(errors[0], expected);
    }

    /// The handles are open as long as somebody holds the transaction, and not any longer.
    void expectHandlesCloseWithTheTransaction(std::size_t openHandles)
    {
        EXPECT_EQ(platform.openHandles(), openHandles);
        outcomes.clear();
        EXPECT_EQ(platform.openHandles(), openHandles);
        EXPECT_EQ(transaction.use_count(), 1);
        transaction.reset();
        EXPECT_EQ(platform.openHandles(), 0U);
    }

    void expectSuccess(std::int32_t status, const std::string& body)
    {
        ASSERT_EQ(outcomes.size(), 1U);
        EXPECT_EQ(outcomes[0].result, LumNetworking::HttpRequestResult::SUCCESS);
        EXPECT_EQ(outcomes[0].error, nullptr);
        ASSERT_NE(outcomes[0].response, nullptr);
        EXPECT_EQ(outcomes[0].response->statusCode, status);
        EXPECT_EQ(outcomes[0].response->body, body);
    }

    ScriptedPlatform platform;
    const std::shared_ptr<RecordingLogger> recorder = std::make_shared<RecordingLogger>();
    LumNetworking::WinHttpClientAsync client{recorder};
    LumNetworking::UrlComponents url;
    std::map<std::string, std::string> headers;
    bool followRedirects = true;
    int timeoutSeconds = 30;
    std::vector<Outcome> outcomes;
    std::shared_ptr<LumNetworking::ILumAsynchronousTransaction> transaction;
};

} // namespace LumTests::Scripted
