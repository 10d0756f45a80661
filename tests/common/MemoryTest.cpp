#include "support/MemoryTest.h"

#include "common/networking/HttpBodyCollector.h"
#include "common/networking/HttpMethod.h"
#include "common/networking/HttpRequestResult.h"
#include "common/networking/UrlComponents.h"
#include "common/utils/LumBase64.h"
#include "common/utils/LumError.h"
#include "common/utils/LumLog.h"
#include "common/utils/LumTextUtils.h"
#include "common/utils/LumTimeUtils.h"
#include "common/utils/LumUuidUtils.h"
#include "support/RecordingLogger.h"

/// What takes memory and has no other way to fail throws std::bad_alloc, whichever allocation it was; what the caller
/// gave stays as it was. A leak is the sanitizer's to find.

namespace {

using namespace LumTests;
using LumNetworking::UrlComponents;
using LumUtils::LumError;

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
    LumError target(kLong + "before", 1);
    expectThrowsWithoutMemory([&] { target = error; });
    EXPECT_EQ(target.getDescription(), error.getDescription());
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
    bool hasThrown = false;
    const int count = withEachAllocationFailing(
        [&] {
            hasThrown = false;
            try {
                ParseUrl(url, parsed);
            } catch (const std::bad_alloc&) {
                hasThrown = true;
            }
        },
        [&](bool hasFailed) {
            EXPECT_EQ(hasThrown, hasFailed);
            EXPECT_EQ(parsed.host == "left over", hasFailed) << "what is refused changes nothing";
        });
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
    EXPECT_GT(expectThrowsWithoutMemory([&] { wideText = LumUtils::utf8ToUtf16(kLong); }), 0);
    EXPECT_EQ(wideText, wide);
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = LumUtils::utf16ToUtf8(wide); }), 0);
    EXPECT_EQ(text, kLong);
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = LumUtils::base64Encode(kLong); }), 0);
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = LumUtils::base64Decode(text); }), 0);
    EXPECT_EQ(text, kLong);
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = LumUtils::base64EncodeWrapped(kLong); }), 0);
    EXPECT_GT(expectThrowsWithoutMemory([&] { text = LumUtils::base64Decode(text, true); }), 1);
    EXPECT_EQ(text, kLong);
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
    EXPECT_GT(expectThrowsWithoutMemory([&] {
                  LUM_LOG(logger, Error, "A::function that is too long for a short string", "%s", kLong.c_str());
              }),
              3);
    EXPECT_EQ(logger->records().size(), 1U);
    EXPECT_GT(expectThrowsWithoutMemory([&] { LUM_LOG_TEXT(logger, Error, "A::function", kLong); }), 3);
    EXPECT_EQ(logger->records().size(), 2U);
    withEachAllocationFailing([&] { EXPECT_NO_THROW(LUM_TRY_LOG(logger, Error, "A::function", "%s", kLong.c_str())); },
                              [&](bool hasFailed) { EXPECT_EQ(logger->records().size(), hasFailed ? 2U : 3U); });
}

TEST(MemoryTest, ABodyIsCollectedWholeOrNotAtAll)
{
    std::string body;
    expectThrowsWithoutMemory([&] {
        LumNetworking::HttpBodyCollector collector;
        collector.Append(kLong.data(), kLong.size());
        collector.Append(kLong.data(), kLong.size());
        body = collector.Take();
    });
    EXPECT_EQ(body, kLong + kLong);
}

} // namespace
