#include "support/EachAllocationFails.h"

#include "Windows/storage/LumStorageErrorUtilsWin.h"
#include "common/networking/HttpBodyCollector.h"
#include "common/networking/HttpMethod.h"
#include "common/networking/HttpRequestContext.h"
#include "common/networking/HttpRequestResult.h"
#include "common/networking/UrlComponents.h"
#include "common/utils/LumBase64.h"
#include "common/utils/LumError.h"
#include "common/utils/LumErrorReference.h"
#include "common/utils/LumFormattingLoggerDelegate.h"
#include "common/utils/LumLog.h"
#include "common/utils/LumMemoryUtils.h"
#include "common/utils/LumTextUtils.h"
#include "common/utils/LumTimeUtils.h"
#include "common/utils/LumUuidUtils.h"
#include "support/RecordingLogger.h"

#include <functional>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

/// What takes memory and has no other way to fail throws std::bad_alloc, whichever allocation it was; what the caller
/// gave stays as it was. A leak is the sanitizer's to find.

namespace {

using namespace LumTests;
using LumNetworking::UrlComponents;
using LumUtils::LumError;
using Reach = FailingAllocation::Reach;

const std::string kLong(100, 'x');

const std::map<std::string, std::any>& userInfo()
{
    static const std::map<std::string, std::any> info = {
        {"a key that is too long for a short string", 5},
        {"another key that is too long for a short string", kLong},
        {"b", true},
        {"d", 1.5},
        {"l", static_cast<const char*>("a literal that is too long for a short string")}};
    return info;
}

TEST(MemoryTest, AnErrorIsMadeAndCopiedWholeOrNotAtAll)
{
    EXPECT_GT(expectThrowsWithoutMemory([] { LumError(kLong, 5, userInfo()); }), 3);
    const LumError error(kLong, 5, userInfo());
    EXPECT_GT(expectThrowsWithoutMemory([&] { error.clone(); }), 3);
    EXPECT_GT(expectThrowsWithoutMemory([&] { LumError copy(error); }), 3);
    const LumError before(kLong + "before", 1, {{kLong, kLong}});
    LumError target(before);
    EXPECT_GT(expectThrowsWithoutMemory([&] { target = error; },
                                        [&](bool hasFailed) {
                                            EXPECT_EQ(target.toJson(), hasFailed ? before.toJson() : error.toJson());
                                            target = before;
                                        }),
              3);
}

TEST(MemoryTest, AnErrorsTextsAreWholeOrNotAtAll)
{
    const LumError error(kLong, 5, userInfo());
    std::string text;
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = error.getDescription(); }), 0);
    EXPECT_EQ(text, error.getDescription());
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = error.toJson(); }), 3);
    EXPECT_EQ(text, error.toJson());
}

TEST(MemoryTest, AJsonTextIsReadWholeOrNotAtAll)
{
    const std::string json = LumError(kLong, 5, userInfo()).toJson();
    std::unique_ptr<LumUtils::ILumError> read;
    EXPECT_GT(expectThrowsWithoutMemory([&] { read = LumError::fromJson(json); }), 3);
    EXPECT_EQ(read->toJson(), json);
    for (const std::string broken : {"{\"code\":5,", "{\"code\":\"5\"}", "[]", "{\"userInfo\":7}"}) {
        SCOPED_TRACE(broken);
        testing::internal::CaptureStderr();
        EXPECT_GT(expectThrowsWithoutMemory([&] { read = LumError::fromJson(broken); }), 3);
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(read->getDomain(), "com.corvan.utils.errordomain");
    }
}

TEST(MemoryTest, AUrlIsParsedWholeOrNotAtAll)
{
    const std::string url = "https://" + kLong + ".org:8443/" + kLong + "?" + kLong + "=" + kLong + "%20&b=c&d";
    UrlComponents parsed;
    parsed.host = "left over";
    const int count = expectThrowsWithoutMemory([&] { ParseUrl(url, parsed); },
                                                [&](bool hasFailed) {
                                                    EXPECT_EQ(parsed.host == "left over", hasFailed)
                                                        << "what is refused changes nothing";
                                                    parsed.host = hasFailed ? parsed.host : "left over";
                                                });
    ParseUrl(url, parsed);
    EXPECT_GT(count, 3);
    std::string printed;
    EXPECT_GT(expectThrowsWithoutMemory([&] { printed = parsed.GetUrl(); }), 0);
    EXPECT_GT(expectThrowsWithoutMemory([&] { printed = parsed.GetPathAndQuery(); }), 0);
}

TEST(MemoryTest, TextsAreConvertedWholeOrNotAtAll)
{
    const LumUtils::WideString wide = LumUtils::utf8ToUtf16(kLong);
    std::string text;
    LumUtils::WideString wideText;
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = LumUtils::trimString(" " + kLong + " "); }), 0);
    EXPECT_EQ(text, kLong);
    EXPECT_EQ(expectThrowsWithoutMemory([&] { EXPECT_EQ(LumUtils::trimView(text).size(), kLong.size()); }), 0);
    EXPECT_GT(expectThrowsWithoutMemory([&] { wideText = LumUtils::utf8ToUtf16(kLong); }), 0);
    EXPECT_EQ(wideText, wide);
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = LumUtils::utf16ToUtf8(wide); }), 0);
    EXPECT_EQ(text, kLong);
}

TEST(MemoryTest, Base64IsWrittenAndReadWholeOrNotAtAll)
{
    const auto length = static_cast<std::int32_t>(kLong.size());
    const std::string encoded = LumUtils::base64Encode(kLong);
    const std::string wrapped = LumUtils::base64EncodeWrapped(kLong);
    const std::vector<std::pair<std::string, std::function<std::string()>>> operations = {
        {encoded, [&] { return LumUtils::base64Encode(kLong); }},
        {encoded, [&] { return LumUtils::base64Encode(kLong.data(), length, false); }},
        {LumUtils::base64Encode(kLong, true), [&] { return LumUtils::base64Encode(kLong.data(), length, true); }},
        {wrapped, [&] { return LumUtils::base64EncodeWrapped(kLong); }},
        {wrapped, [&] { return LumUtils::base64EncodeWrapped(kLong.data(), length); }},
        {kLong, [&] { return LumUtils::base64Decode(encoded); }},
        {kLong, [&] { return LumUtils::base64Decode(wrapped, true); }},
    };
    for (const auto& [expected, operation] : operations) {
        std::string text;
        EXPECT_GT(expectThrowsWithoutMemory([&text, &run = operation] { text = run(); }), 0);
        EXPECT_EQ(text, expected);
    }
}

TEST(MemoryTest, AReferenceToAnErrorCopiesAndTellsItWholeOrNotAtAll)
{
    const LumError error(kLong, 5, userInfo());
    const LumUtils::LumErrorReference reference(error);
    std::string text;
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = reference.getDescription(); }), 0);
    EXPECT_EQ(text, error.getDescription());
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = reference.toJson(); }), 3);
    EXPECT_EQ(text, error.toJson());
    std::unique_ptr<LumUtils::ILumError> copy;
    EXPECT_GT(expectThrowsWithoutMemory([&] { copy = reference.clone(); }), 3);
    EXPECT_EQ(copy->toJson(), text);
    EXPECT_EQ(expectThrowsWithoutMemory([&] { EXPECT_EQ(reference.getUserInfo().size(), 5U); }), 0);
}

/// What an operation threw: nothing, std::bad_alloc, or what it throws for a mistake of its caller.
template <typename Mistake, typename Operation>
int expectMistakeOrThrowsWithoutMemory(Operation operation)
{
    bool isMistake = false;
    return expectThrowsWithoutMemory(
        [&] {
            isMistake = false;
            try {
                operation();
            } catch (const Mistake&) {
                isMistake = true;
            }
        },
        [&](bool hasFailed) { EXPECT_NE(isMistake, hasFailed); });
}

TEST(MemoryTest, AMistakeOfTheCallerIsToldUnlessThereIsNoMemoryForThat)
{
    EXPECT_GT(expectMistakeOrThrowsWithoutMemory<std::invalid_argument>([] { LumUtils::secureZeroMemory(nullptr, 1); }),
              0);
    char secret[] = "secret";
    EXPECT_EQ(expectThrowsWithoutMemory([&] { LumUtils::secureZeroMemory(secret, sizeof(secret)); }), 0);
    EXPECT_EQ(secret[0], '\0');
}

TEST(MemoryTest, ATextThatIsNoBase64IsToldUnlessThereIsNoMemoryForThat)
{
    const std::string invalid = kLong + "?xxx";
    const std::string stray = kLong + "x";
    for (const bool removeLineFeeds : {false, true}) {
        EXPECT_GT(expectMistakeOrThrowsWithoutMemory<std::runtime_error>(
                      [&] { LumUtils::base64Decode(invalid, removeLineFeeds); }),
                  1);
        EXPECT_GT(expectMistakeOrThrowsWithoutMemory<std::out_of_range>(
                      [&] { LumUtils::base64Decode(stray, removeLineFeeds); }),
                  1);
    }
}

TEST(MemoryTest, IdentifiersTimesAndNamesAreThereOrNot)
{
    std::string text;
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = LumUtils::generateUuid(); }), 0);
    EXPECT_EQ(text.size(), 36U);
    const std::string pattern = "%Y-%m-%d %H:%M:%S and so on";
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = LumUtils::formatCurrentTime(pattern); }), 0);
    EXPECT_NE(text, "");
    const auto unknown = static_cast<LumNetworking::HttpMethod>(1000000000);
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = HttpMethodToString(unknown); }), 0);
    EXPECT_EQ(text, "UNKNOWN: 1000000000");
    const auto result = static_cast<LumNetworking::HttpRequestResult>(-1000000000);
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = HttpRequestResultToString(result); }), 0);
}

TEST(MemoryTest, ARecordIsLoggedOrThrownAway)
{
    const auto logger = std::make_shared<RecordingLogger>();
    const auto expectRecord = [&](bool hasFailed) {
        EXPECT_EQ(logger->records().size(), hasFailed ? 0U : 1U);
        logger->clear();
    };
    EXPECT_GT(
        expectThrowsWithoutMemory(
            [&] { LUM_LOG(logger, Error, "A::function that is too long for a short string", "%s", kLong.c_str()); },
            expectRecord),
        3);
    EXPECT_GT(expectThrowsWithoutMemory([&] { LUM_LOG_TEXT(logger, Error, "A::function", kLong); }, expectRecord), 3);
    for (const Reach reach : {Reach::One, Reach::AllThatFollow}) {
        expectEndsWithoutMemory(
            reach, [&] { LUM_TRY_LOG(logger, Error, "A::function", "%s", kLong.c_str()); }, expectRecord);
        expectEndsWithoutMemory(
            reach, [&] { LUM_TRY_LOG_TEXT(logger, Error, "A::function", kLong); }, expectRecord);
    }
}

/// Keeps the last message.
class KeepingLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    std::string message;

private:
    void writeRecord(LumUtils::LumLogLevel /*level*/, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& text, unsigned int /*line*/) override
    {
        message = text;
    }
};

TEST(MemoryTest, ARecordIsFormattedWholeOrNotAtAll)
{
    using Delegate = LumUtils::ILumUtilsLoggerDelegate;
    KeepingLogger logger;
    const std::string place = "a place that is too long for a short string";
    for (const LumUtils::LogOperation operation : {&Delegate::logFatal, &Delegate::logError, &Delegate::logWarning,
                                                   &Delegate::logInfo, &Delegate::logVerbose, &Delegate::logAOL}) {
        EXPECT_GT(expectThrowsWithoutMemory([&] { (logger.*operation)(place, place, "<%s>", 7, kLong.c_str()); },
                                            [&](bool hasFailed) {
                                                EXPECT_EQ(logger.message, hasFailed ? "" : "<" + kLong + ">");
                                                logger.message = std::string();
                                            }),
                  0);
    }
}

TEST(MemoryTest, TheSystemsTextForAFailureIsThereOrNot)
{
    using namespace LumStorage::LumStorageErrorUtilsWin;
    const auto logger = std::make_shared<RecordingLogger>();
    std::string text;
    DWORD code = 0;
    EXPECT_GT(expectThrowsWithoutMemory([&] {
                  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                  text = getLastErrorMessage(code);
              }),
              0);
    EXPECT_NE(text, "");
    EXPECT_EQ(code, static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_GT(expectThrowsWithoutMemory(
                  [&] {
                      SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                      logWindowsErrorWithDelegate("LockFileEx", logger);
                  },
                  [&](bool hasFailed) {
                      EXPECT_EQ(logger->records().size(), hasFailed ? 0U : 1U);
                      logger->clear();
                  }),
              3);
    EXPECT_EQ(logger.use_count(), 1);
}

TEST(MemoryTest, ABodyIsCollectedWholeOrNotAtAll)
{
    std::string body;
    EXPECT_GT(expectThrowsWithoutMemory(
                  [&] {
                      LumNetworking::HttpBodyCollector collector;
                      collector.Append(kLong.data(), kLong.size());
                      collector.Append(kLong.data(), kLong.size());
                      body = collector.Take();
                  },
                  [&](bool hasFailed) {
                      EXPECT_EQ(body, hasFailed ? "" : kLong + kLong);
                      body.clear();
                  }),
              0);
}

TEST(MemoryTest, ACompletionThatThrowsWithoutMemoryGoesNoFurther)
{
    const auto logger = std::make_shared<RecordingLogger>();
    const LumNetworking::HttpCompletion completion = [](auto, auto, auto, const auto&) {
        throw std::runtime_error("a text that is too long for a short string");
    };
    for (const Reach reach : {Reach::One, Reach::AllThatFollow}) {
        std::optional<LumNetworking::HttpRequestContext> context(std::in_place, logger, completion);
        bool isCompleted = false;
        EXPECT_GT(expectEndsWithoutMemory(
                      reach, [&] { isCompleted = context->Complete(); },
                      [&](bool hasFailed) {
                          EXPECT_TRUE(isCompleted);
                          EXPECT_TRUE(hasFailed || logger->records().size() == 1U);
                          logger->clear();
                          context.emplace(logger, completion);
                      }),
                  3);
    }
}

} // namespace
