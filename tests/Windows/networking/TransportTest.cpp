#include "Windows/networking/TransportTest.h"

#include "common/networking/LumNetworkingError.h"
#include "common/utils/LumError.h"
#include "common/utils/LumPlatformErrorNumber.h"

#include <any>
#include <stdexcept>

namespace LumTests {

using LumNetworking::HttpCompletion;
using LumNetworking::HttpRequestResult;
using LumNetworking::UrlComponents;
using LumNetworking::WinHttpClientAsync;
using LumUtils::ILumError;
using LumUtils::LumLogLevel;

namespace {

template <typename Value>
const Value* userValue(const ILumError& error, const std::string& key)
{
    const auto found = error.getUserInfo().find(key);
    return found == error.getUserInfo().end() ? nullptr : std::any_cast<Value>(&found->second);
}

void expectErrorValue(const ILumError& error, int code, int platformCode)
{
    EXPECT_EQ(error.getDomain(), "com.corvan.clientlibs.liblumnetworking.error");
    EXPECT_EQ(error.getDomain(), LumNetworking::LibLumNetworkingErrorDomain);
    EXPECT_EQ(error.getCode(), code);
    EXPECT_EQ(platformCodeOf(error), platformCode);
    EXPECT_EQ(error.getUserInfo().size(), 2U);
    const auto* const text = userValue<std::string>(error, LumUtils::LumErrorUnderlyingErrorDescription);
    ASSERT_NE(text, nullptr);
    EXPECT_FALSE(text->empty());
    EXPECT_EQ(error.getDescription(),
              "Domain: com.corvan.clientlibs.liblumnetworking.error, Code: " + std::to_string(code) +
                  ", UserInfo: {LumErrorUnderlyingErrorCode: " + std::to_string(platformCode) +
                  ", LumErrorUnderlyingErrorDescription: " + *text + "}");
}

void expectErrorRecord(const LogRecord& record, const FailurePlace& place, const ILumError& error)
{
    EXPECT_PRED2(endsWithPath, record.file,
                 place.code == 12 ? "src/Windows/networking/LibLumNetworkingWinUtils.cpp"
                                  : "src/Windows/networking/WinHttpClientAsync.cpp");
    EXPECT_EQ(record.function, place.function);
    EXPECT_EQ(record.format, "%s Failed with error description: %s");
    EXPECT_EQ(record.line, place.line);
    EXPECT_EQ(record.message, std::string(place.apiName) + " Failed with error description: " + error.getDescription());
}

/// The number to expect: for failures that the platform notifies of, it comes from the last error of the notified
/// thread.
int expectedCode(const ILumError& error, const FailurePlace& place, int platformCode)
{
    const bool isNotified = place.line == kRequestError.line;
    return isNotified && !Quirks::kNotifiesWithLastError ? platformCodeOf(error) : platformCode;
}

} // namespace

Outcome TransportTest::Run(const Starter& start)
{
    const RequestRecorder recorder;
    Transaction transaction = start(recorder.Completion());
    if (!transaction) {
        throw std::runtime_error("the request was refused");
    }
    Outcome outcome = recorder.WaitForOutcome();
    EXPECT_EQ(outcome.transaction, transaction.get());
    transaction.reset();
    recorder.WaitForRelease();
    EXPECT_EQ(recorder.CallCount(), 1U);
    return outcome;
}

Outcome TransportTest::Get(const std::string& url, const Headers& headers, bool followRedirects, int timeoutSeconds)
{
    return Get(components(url), headers, followRedirects, timeoutSeconds);
}

Outcome TransportTest::Get(const UrlComponents& url, const Headers& headers, bool followRedirects, int timeoutSeconds)
{
    return Run([&](const HttpCompletion& completion) {
        return client->Get(url, headers, completion, followRedirects, timeoutSeconds);
    });
}

Outcome TransportTest::GetRaw(const std::string& bytes)
{
    return Get(TestServers::scripted("/raw?bytes=" + TestServers::queryValue(bytes)));
}

std::string TransportTest::GetBody(const std::string& url, const Headers& headers)
{
    const Outcome outcome = Get(url, headers);
    expectSuccess(outcome);
    return outcome.response->body;
}

std::size_t TransportTest::ArrivedCount(const std::string& key)
{
    return std::stoul(Ask("/count?key=" + key));
}

bool TransportTest::WaitForArrival(const std::string& key)
{
    return waitUntil([&] { return ArrivedCount(key) > 0; });
}

void TransportTest::Release(const std::string& key)
{
    Ask("/release?key=" + key);
}

std::string TransportTest::Ask(const std::string& pathAndQuery)
{
    WinHttpClientAsync asking(std::make_shared<RecordingLogger>());
    const RequestRecorder recorder;
    asking.Get(TestServers::scripted(pathAndQuery), {}, recorder.Completion(), false, 30);
    const Outcome outcome = recorder.WaitForOutcome();
    if (!outcome.response || outcome.response->statusCode != 200) {
        throw std::runtime_error("the scripted server does not answer " + pathAndQuery);
    }
    return outcome.response->body;
}

void expectFailure(const Outcome& outcome, const RecordingLogger& logger, const FailurePlace& place, int platformCode)
{
    EXPECT_EQ(outcome.result, HttpRequestResult::FAILED);
    EXPECT_EQ(outcome.response, nullptr);
    if (!outcome.error) {
        throw std::runtime_error("the request did not fail");
    }
    expectErrorValue(*outcome.error, place.code, expectedCode(*outcome.error, place, platformCode));
    const std::vector<LogRecord> errors = logger.recordsOfLevel(LumLogLevel::Error);
    ASSERT_EQ(errors.size(), 1U);
    expectErrorRecord(errors.front(), place, *outcome.error);
}

void expectSuccess(const Outcome& outcome, int status)
{
    EXPECT_EQ(outcome.result, HttpRequestResult::SUCCESS);
    if (outcome.error) {
        throw std::runtime_error("the request failed: " + outcome.error->getDescription());
    }
    if (!outcome.response) {
        throw std::runtime_error("the request has no response");
    }
    EXPECT_EQ(outcome.response->statusCode, status);
}

int platformCodeOf(const ILumError& error)
{
    return LumUtils::platformErrorNumber(error).value_or(-1);
}

std::string headerOf(const Outcome& outcome, const std::string& name)
{
    const auto found = outcome.response->headers.find(name);
    if (found == outcome.response->headers.end()) {
        ADD_FAILURE() << "no header " << name;
        return {};
    }
    EXPECT_EQ(found->second.size(), 1U);
    return found->second.front();
}

std::vector<std::string> headLines(const std::string& echoed)
{
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end = echoed.find("\r\n"); end != std::string::npos && end > start;
         end = echoed.find("\r\n", start)) {
        lines.push_back(echoed.substr(start, end - start));
        start = end + 2;
    }
    return lines;
}

std::string echoedBody(const std::string& echoed)
{
    const std::size_t end = echoed.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : echoed.substr(end + 4);
}

UrlComponents components(const std::string& url)
{
    UrlComponents parsed;
    if (LumNetworking::ParseUrl(url, parsed) != LumNetworking::UrlParseStatus::Parsed) {
        throw std::runtime_error("not a URL: " + url);
    }
    return parsed;
}

bool isTokenCharacter(char character)
{
    static const std::string kTokenCharacters = "!#$%&'*+-.^_`|~0123456789"
                                                "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    return kTokenCharacters.find(character) != std::string::npos;
}

} // namespace LumTests
