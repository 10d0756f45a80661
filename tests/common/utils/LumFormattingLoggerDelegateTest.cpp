#include "common/utils/LumFormattingLoggerDelegate.h"

#include "NarrowEncoding.h"
#include "support/VtableSlot.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using LumUtils::ILumUtilsLoggerDelegate;
using LumUtils::LumFormattingLoggerDelegate;
using LumUtils::LumLogLevel;

struct Record {
    LumLogLevel level;
    std::string file;
    std::string function;
    std::string message;
    unsigned int line;
};

class CollectingLogger : public LumFormattingLoggerDelegate {
public:
    std::vector<Record> records;

private:
    void writeRecord(LumLogLevel level, const std::string& file, const std::string& function,
                     const std::string& message, unsigned int line) override
    {
        const std::lock_guard<std::mutex> lock(mutex);
        records.push_back({level, file, function, message, line});
    }

    std::mutex mutex;
};

std::vector<char> formatted(const std::string format, ...)
{
    va_list values;
    va_start(values, format);
    std::vector<char> buffer = LumUtils::getVarArgsFormattedBuffer(format, values);
    va_end(values);
    return buffer;
}

/// Formats twice with one list, as a delegate that forwards to two sinks does.
std::pair<std::vector<char>, std::vector<char>> formattedTwice(const std::string format, ...)
{
    va_list values;
    va_start(values, format);
    std::vector<char> first = LumUtils::getVarArgsFormattedBuffer(format, values);
    std::vector<char> second = LumUtils::getVarArgsFormattedBuffer(format, values);
    va_end(values);
    return {first, second};
}

std::string text(const std::vector<char>& buffer)
{
    return std::string(buffer.begin(), buffer.end());
}

void logAtLevel(LumFormattingLoggerDelegate& logger, int level, const std::string& format, ...)
{
    va_list values;
    va_start(values, format);
    logger.logFormatted(static_cast<LumLogLevel>(level), "file", "function", format, 7, values);
    va_end(values);
}

using namespace std::string_literals;

TEST(LumFormattingLoggerDelegateTest, OperationsStandInTheirSlots)
{
    EXPECT_EQ(LumTests::vtableSlot(&ILumUtilsLoggerDelegate::logFatal), 1U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumUtilsLoggerDelegate::logError), 2U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumUtilsLoggerDelegate::logWarning), 3U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumUtilsLoggerDelegate::logInfo), 4U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumUtilsLoggerDelegate::logVerbose), 5U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumUtilsLoggerDelegate::logAOL), 6U);
}

TEST(LumFormattingLoggerDelegateTest, InterfaceIsAbstractAndTheLineStandsAfterTheFormat)
{
    using Operation = void (ILumUtilsLoggerDelegate::*)(const std::string&, const std::string&, const std::string&,
                                                        unsigned int, ...);
    EXPECT_TRUE(std::is_abstract_v<ILumUtilsLoggerDelegate>);
    EXPECT_TRUE(std::has_virtual_destructor_v<ILumUtilsLoggerDelegate>);
    EXPECT_TRUE((std::is_same_v<decltype(&ILumUtilsLoggerDelegate::logFatal), Operation>));
    EXPECT_TRUE((std::is_same_v<decltype(&ILumUtilsLoggerDelegate::logError), Operation>));
    EXPECT_TRUE((std::is_same_v<decltype(&ILumUtilsLoggerDelegate::logWarning), Operation>));
    EXPECT_TRUE((std::is_same_v<decltype(&ILumUtilsLoggerDelegate::logInfo), Operation>));
    EXPECT_TRUE((std::is_same_v<decltype(&ILumUtilsLoggerDelegate::logVerbose), Operation>));
    EXPECT_TRUE((std::is_same_v<decltype(&ILumUtilsLoggerDelegate::logAOL), Operation>));
}

TEST(LumFormattingLoggerDelegateTest, LevelsAreNumberedInSlotOrder)
{
    EXPECT_EQ(static_cast<int>(LumLogLevel::Fatal), 0);
    EXPECT_EQ(static_cast<int>(LumLogLevel::Error), 1);
    EXPECT_EQ(static_cast<int>(LumLogLevel::Warning), 2);
    EXPECT_EQ(static_cast<int>(LumLogLevel::Info), 3);
    EXPECT_EQ(static_cast<int>(LumLogLevel::Verbose), 4);
    EXPECT_EQ(static_cast<int>(LumLogLevel::AOL), 5);
}

TEST(LumFormattingLoggerDelegateTest, EachOperationWritesItsLevelWithAllArguments)
{
    const auto logger = std::make_shared<CollectingLogger>();
    ILumUtilsLoggerDelegate& delegate = *logger;
    delegate.logFatal("file0", "function0", "status %d", 10, 400);
    delegate.logError("file1", "function1", "status %d", 11, 401);
    delegate.logWarning("file2", "function2", "status %d", 12, 402);
    delegate.logInfo("file3", "function3", "status %d", 13, 403);
    delegate.logVerbose("file4", "function4", "status %d", 14, 404);
    delegate.logAOL("file5", "function5", "status %d", 4294967295U, 405);
    ASSERT_EQ(logger->records.size(), 6U);
    for (int level = 0; level < 6; ++level) {
        const Record& record = logger->records[static_cast<std::size_t>(level)];
        const std::string number = std::to_string(level);
        EXPECT_EQ(static_cast<int>(record.level), level);
        EXPECT_EQ(record.file, "file" + number);
        EXPECT_EQ(record.function, "function" + number);
        EXPECT_EQ(record.message, "status 40" + number);
        EXPECT_EQ(record.line, level == 5 ? 4294967295U : 10U + static_cast<unsigned int>(level));
    }
}

TEST(LumFormattingLoggerDelegateTest, LevelOutsideTheListIsIgnored)
{
    CollectingLogger logger;
    for (const int level : {-1, 6, 7, 1000, -2147483647}) {
        logAtLevel(logger, level, "text %d", 1);
    }
    EXPECT_TRUE(logger.records.empty());
    for (int level = 0; level <= 5; ++level) {
        logAtLevel(logger, level, "text %d", 1);
    }
    EXPECT_EQ(logger.records.size(), 6U);
}

TEST(LumFormattingLoggerDelegateTest, FormatWithoutConversionsIsTheMessage)
{
    EXPECT_EQ(text(formatted("LumUrlRequest is null.")), "LumUrlRequest is null.\0"s);
}

TEST(LumFormattingLoggerDelegateTest, EmptyFormatIsOneNul)
{
    const std::string empty;
    EXPECT_EQ(text(formatted(empty)), "\0"s);
    CollectingLogger logger;
    logAtLevel(logger, 3, empty);
    ASSERT_EQ(logger.records.size(), 1U);
    EXPECT_EQ(logger.records[0].message, "");
}

TEST(LumFormattingLoggerDelegateTest, BufferHasExactlyTheMessageAndOneNul)
{
    EXPECT_EQ(text(formatted("%s=%d (%5.2f%%) %c %u %x", "key", -4, 2.5, 'z', 7U, 255U)), "key=-4 ( 2.50%) z 7 ff\0"s);
}

TEST(LumFormattingLoggerDelegateTest, LongMessageArrivesWhole)
{
    const std::string longText(100000, 'x');
    EXPECT_EQ(text(formatted("<%s>", longText.c_str())), "<" + longText + ">\0"s);
    CollectingLogger logger;
    logger.logInfo("file", "function", "<%s>", 1, longText.c_str());
    ASSERT_EQ(logger.records.size(), 1U);
    EXPECT_EQ(logger.records[0].message, "<" + longText + ">");
}

TEST(LumFormattingLoggerDelegateTest, MessageMayHoldNuls)
{
    CollectingLogger logger;
    logger.logInfo("file", "function", "a%cb", 1, 0);
    ASSERT_EQ(logger.records.size(), 1U);
    EXPECT_EQ(logger.records[0].message, "a\0b"s);
}

TEST(LumFormattingLoggerDelegateTest, OneListCanBeFormattedTwice)
{
    const auto [first, second] = formattedTwice("%s %d %s", "a", 5, "b");
    EXPECT_EQ(text(first), "a 5 b\0"s);
    EXPECT_EQ(first, second);
}

/// A wide character that no encoding has.
const std::string kRejectedFormat = "%lc";
constexpr unsigned int kNoCharacter = 0xD800;

TEST(LumFormattingLoggerDelegateTest, RejectedFormatGivesAnEmptyBuffer)
{
    EXPECT_EQ(formatted(kRejectedFormat, kNoCharacter).size(), LumTests::kRefusesToFormatNoCharacter ? 0U : 1U);
}

TEST(LumFormattingLoggerDelegateTest, RejectedFormatWritesNoRecord)
{
    CollectingLogger logger;
    logger.logError("file", "function", kRejectedFormat, 1, kNoCharacter);
    EXPECT_EQ(logger.records.size(), LumTests::kRefusesToFormatNoCharacter ? 0U : 1U);
    logger.records.clear();
    logger.logError("file", "function", "fine", 1);
    EXPECT_EQ(logger.records.size(), 1U);
}

TEST(LumFormattingLoggerDelegateTest, SeveralThreadsLogAtOnce)
{
    CollectingLogger logger;
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&logger, index] {
            for (int round = 0; round < 100; ++round) {
                logger.logInfo("file", "function", "%d", 1, index);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(logger.records.size(), 400U);
}

} // namespace
