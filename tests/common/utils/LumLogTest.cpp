#include "common/utils/LumLog.h"

#include "support/RecordingLogger.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <thread>

namespace {

using LumTests::LogRecord;
using LumTests::RecordingLogger;
using LumUtils::ILumUtilsLoggerDelegate;
using LumUtils::LumLogLevel;

class LumLogTest : public testing::Test {
protected:
    LogRecord onlyRecord() const
    {
        const std::vector<LogRecord> records = recorder->records();
        EXPECT_EQ(records.size(), 1U);
        return records.empty() ? LogRecord{} : records.front();
    }

    const std::shared_ptr<RecordingLogger> recorder = std::make_shared<RecordingLogger>();
    const std::shared_ptr<ILumUtilsLoggerDelegate> logger = recorder;
};

TEST_F(LumLogTest, PassesFileFunctionFormatLineAndValuesInTheirPlaces)
{
    const unsigned int line = __LINE__ + 1;
    LUM_LOG(logger, Info, "Space::Class::operation", "HTTP %s is %d", "status", 404);
    const LogRecord record = onlyRecord();
    EXPECT_EQ(record.level, LumLogLevel::Info);
    EXPECT_TRUE(LumTests::endsWithPath(record.file, "tests/common/utils/LumLogTest.cpp")) << record.file;
    EXPECT_EQ(record.function, "Space::Class::operation");
    EXPECT_EQ(record.format, "HTTP %s is %d");
    EXPECT_EQ(record.line, line);
    EXPECT_EQ(record.message, "HTTP status is 404");
    EXPECT_EQ(record.thread, std::this_thread::get_id());
}

TEST_F(LumLogTest, FixedLineStaysWhereverTheStatementStands)
{
    LUM_LOG_AT(logger, Error, "f", 23, "text");
    const LogRecord record = onlyRecord();
    EXPECT_EQ(record.line, 23U);
    EXPECT_TRUE(LumTests::endsWithPath(record.file, "tests/common/utils/LumLogTest.cpp")) << record.file;
}

TEST_F(LumLogTest, RecordOnBehalfOfAnotherFileNamesThatFile)
{
    LUM_LOG_FROM(logger, Warning, "src/other.cpp", "f", 4000000000U, "text %u", 7U);
    const LogRecord record = onlyRecord();
    EXPECT_EQ(record.level, LumLogLevel::Warning);
    EXPECT_EQ(record.file, "src/other.cpp");
    EXPECT_EQ(record.line, 4000000000U);
    EXPECT_EQ(record.message, "text 7");
}

TEST_F(LumLogTest, EachLevelReachesItsOwnOperation)
{
    LUM_LOG(logger, Fatal, "f", "text");
    LUM_LOG(logger, Error, "f", "text");
    LUM_LOG(logger, Warning, "f", "text");
    LUM_LOG(logger, Info, "f", "text");
    LUM_LOG(logger, Verbose, "f", "text");
    LUM_LOG(logger, AOL, "f", "text");
    const std::vector<LogRecord> records = recorder->records();
    ASSERT_EQ(records.size(), 6U);
    for (std::size_t level = 0; level < records.size(); ++level) {
        EXPECT_EQ(static_cast<std::size_t>(records[level].level), level);
    }
}

TEST_F(LumLogTest, EmptyDelegateLogsNothing)
{
    const std::shared_ptr<ILumUtilsLoggerDelegate> none;
    EXPECT_NO_THROW(LUM_LOG(none, Error, "f", "text %d", 1));
    EXPECT_NO_THROW(LUM_LOG_AT(none, Error, "f", 23, "text %d", 1));
    EXPECT_NO_THROW(LUM_LOG_FROM(none, Error, "file", "f", 23, "text %d", 1));
}

TEST_F(LumLogTest, EmptyFormatAndPercentSignsAreLogged)
{
    LUM_LOG(logger, Info, "f", "100%% of %d%%", 5);
    EXPECT_EQ(onlyRecord().message, "100% of 5%");
}

TEST_F(LumLogTest, EveryKindOfValueIsPassedWhole)
{
    char writable[] = "writable";
    LUM_LOG(logger, Info, "f", "%d %i %u %x %X %o %ld %lu %lld %llu %zu %zd %c %s %s %.2f %e %g %5d|%-5d|%05d", -1, -2,
            3U, 255U, 255U, 8U, -4L, 5UL, -9223372036854775807LL, 18446744073709551615ULL, std::size_t{7},
            std::ptrdiff_t{-8}, 'c', "text", writable, 2.5, 1.0, 0.5, 42, 42, 42);
    EXPECT_EQ(onlyRecord().message.substr(0, 81),
              "-1 -2 3 ff FF 10 -4 5 -9223372036854775807 18446744073709551615 7 -8 c text writa");
    EXPECT_EQ(onlyRecord().message.substr(onlyRecord().message.size() - 17), "   42|42   |00042");
}

TEST_F(LumLogTest, PointersAndNarrowIntegersAndFloatsArePromoted)
{
    const short narrow = -3;
    const float real = 1.5F;
    const void* const pointer = &narrow;
    LUM_LOG(logger, Info, "f", "%d %.1f %p", narrow, real, pointer);
    EXPECT_EQ(onlyRecord().message.substr(0, 7), "-3 1.5 ");
    EXPECT_GT(onlyRecord().message.size(), 7U);
}

TEST_F(LumLogTest, StatementFitsAnUnbracedBranch)
{
    if (logger == nullptr)
        LUM_LOG(logger, Info, "f", "never");
    else
        LUM_LOG(logger, Info, "f", "else branch");
    EXPECT_EQ(onlyRecord().message, "else branch");
}

TEST_F(LumLogTest, ValuesAreEvaluatedOnce)
{
    int count = 0;
    LUM_LOG(logger, Info, "f", "%d", ++count);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(onlyRecord().message, "1");
}

/// Drops the owner's pointer in the middle of the call, as a component does that is torn down on another thread.
class DroppingLogger : public RecordingLogger {
public:
    explicit DroppingLogger(bool& isAliveFlag) : isAlive(isAliveFlag) { isAlive = true; }
    ~DroppingLogger() override { isAlive = false; }

    void logInfo(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                 unsigned int /*line*/, ...) override
    {
        owner->reset();
        isAliveInsideTheCall = isAlive;
        *wasAlive = isAliveInsideTheCall;
    }

    std::shared_ptr<ILumUtilsLoggerDelegate>* owner = nullptr;
    bool* wasAlive = nullptr;

private:
    bool& isAlive;
    bool isAliveInsideTheCall = false;
};

TEST_F(LumLogTest, DelegateLivesThroughTheCallThoughItsOwnerDropsIt)
{
    bool isAlive = false;
    bool wasAliveInsideTheCall = false;
    auto dropping = std::make_shared<DroppingLogger>(isAlive);
    std::shared_ptr<ILumUtilsLoggerDelegate> owner = dropping;
    dropping->owner = &owner;
    dropping->wasAlive = &wasAliveInsideTheCall;
    dropping.reset();
    LUM_LOG(owner, Info, "f", "text");
    EXPECT_TRUE(wasAliveInsideTheCall);
    EXPECT_EQ(owner, nullptr);
    EXPECT_FALSE(isAlive) << "the call's own copy is released at its end";
}

TEST_F(LumLogTest, NothingIsHeldAfterTheCall)
{
    const long before = recorder.use_count();
    LUM_LOG(logger, Info, "f", "text");
    EXPECT_EQ(recorder.use_count(), before);
}

class ThrowingLogger : public RecordingLogger {
public:
    void logError(const std::string& /*file*/, const std::string& /*function*/, const std::string& /*format*/,
                  unsigned int /*line*/, ...) override
    {
        throw std::string("from the host");
    }
};

TEST_F(LumLogTest, ExceptionOfTheDelegatePropagates)
{
    const std::shared_ptr<ILumUtilsLoggerDelegate> throwing = std::make_shared<ThrowingLogger>();
    EXPECT_THROW(LUM_LOG(throwing, Error, "f", "text"), std::string);
    EXPECT_EQ(throwing.use_count(), 1);
}

TEST_F(LumLogTest, FinishedTextIsTheMessageWhateverItHolds)
{
    const unsigned int line = __LINE__ + 1;
    LUM_LOG_TEXT(logger, Warning, "f", "100 % of %s and %n%%");
    const LogRecord record = onlyRecord();
    EXPECT_EQ(record.level, LumLogLevel::Warning);
    EXPECT_TRUE(LumTests::endsWithPath(record.file, "tests/common/utils/LumLogTest.cpp")) << record.file;
    EXPECT_EQ(record.line, line);
    EXPECT_EQ(record.message, "100 % of %s and %n%%");
    recorder->clear();
    LUM_LOG_TEXT(logger, Info, "f", std::string("plain"));
    EXPECT_EQ(onlyRecord().format, "plain") << "as it is, without values";
    LUM_LOG_TEXT(nullptr, Info, "f", "nowhere");
}

TEST_F(LumLogTest, TriedRecordOfAThrowingDelegateIsLost)
{
    LUM_TRY_LOG(logger, Info, "f", "%d", 5);
    EXPECT_EQ(onlyRecord().message, "5");
    recorder->clear();
    LUM_TRY_LOG_TEXT(logger, Error, "f", "%d");
    EXPECT_EQ(onlyRecord().message, "%d");
    recorder->clear();
    LUM_TRY_LOG_AT(logger, Error, "f", 23, "%s", "text");
    EXPECT_EQ(onlyRecord().line, 23U);
    EXPECT_EQ(onlyRecord().message, "text");
    const std::shared_ptr<ILumUtilsLoggerDelegate> throwing = std::make_shared<ThrowingLogger>();
    EXPECT_NO_THROW(LUM_TRY_LOG(throwing, Error, "f", "%d", 5));
    EXPECT_NO_THROW(LUM_TRY_LOG_AT(throwing, Error, "f", 23, "%d", 5));
    EXPECT_NO_THROW(LUM_TRY_LOG_TEXT(throwing, Error, "f", "text"));
}

template <typename... Values>
constexpr bool matches(const char* format)
{
    return LumUtils::logFormatMatches(format, LumUtils::LogValueTypes<Values...>{});
}

TEST_F(LumLogTest, MatchingFormatsAreAccepted)
{
    static_assert(matches<>("text"), "no conversion, no value");
    static_assert(matches<>(""), "nothing");
    static_assert(matches<>("100%%"), "a percent sign takes no value");
    static_assert(matches<int, const char*>("%d %s"), "values in order");
    static_assert(matches<unsigned int>("%08X"), "flags and width");
    static_assert(matches<double>("%+.3f"), "precision");
    static_assert(matches<std::size_t>("%zu"), "size");
    static_assert(matches<long long>("%lld"), "length");
    SUCCEED();
}

TEST_F(LumLogTest, FormatsThatDoNotMatchAreRejected)
{
    static_assert(!matches<>("%d"), "a value is missing");
    static_assert(!matches<int>("text"), "a value is left over");
    static_assert(!matches<int, int>("%d"), "a value is left over");
    static_assert(!matches<int>("%d %d"), "a value is missing");
    static_assert(!matches<const char*>("%d"), "a text for a number");
    static_assert(!matches<int>("%s"), "a number for a text");
    static_assert(!matches<std::string>("%s"), "a std::string");
    static_assert(!matches<unsigned int>("%d"), "an unsigned for a signed");
    static_assert(!matches<int>("%u"), "a signed for an unsigned");
    static_assert(!matches<long long>("%d"), "too long a number");
    static_assert(!matches<int>("%lld"), "too short a number");
    static_assert(!matches<long>("%lld"), "another type of the same size");
    static_assert(!matches<double>("%d"), "a floating-point number for an integer");
    static_assert(!matches<int>("%f"), "an integer for a floating-point number");
    static_assert(!matches<long double>("%Lf"), "a long double");
    static_assert(!matches<int*>("%n"), "a conversion that writes");
    static_assert(!matches<int, int>("%*d"), "a width taken from a value");
    static_assert(!matches<int>("%q"), "an unknown conversion");
    static_assert(!matches<>("%"), "an unfinished conversion");
    static_assert(!matches<int>("%l"), "an unfinished length");
    static_assert(!matches<int>("%5"), "an unfinished width");
    static_assert(!matches<const char*, int>("%d %s"), "values in the wrong order");
    static_assert(!matches<bool>("%d"), "a flag, which has no conversion of its own");
    SUCCEED();
}

} // namespace
