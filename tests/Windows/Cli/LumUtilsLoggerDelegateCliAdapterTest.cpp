#include "Windows/Cli/utils/LumUtilsLoggerDelegateCliAdapter.h"

#include "NarrowEncoding.h"
#include "Windows/Cli/utils/ManagedException.h"
#include "common/utils/LumLog.h"
#include "support/FakeManagedHost.h"
#include "support/VtableSlot.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cwchar>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using namespace std::string_literals;
using namespace LumTests;
using LumUtils::ILumUtilsLoggerDelegate;
using LumUtilsCli::LumUtilsLoggerDelegateCliAdapter;
using LumUtilsCli::ManagedException;
using LogLevel = LumUtilsLoggerDelegateCliAdapter::LogLevel;

struct Level {
    LumUtils::LogOperation operation;
    const char* managedOperation;
    LogLevel level;
    std::size_t slot;
};

class LoggerAdapterTest : public testing::Test {
protected:
    FakeManagedHost host;
    std::shared_ptr<FakeManagedLogger> managed = std::make_shared<FakeManagedLogger>();
    std::shared_ptr<ILumUtilsLoggerDelegate> logger =
        std::make_shared<LumUtilsLoggerDelegateCliAdapter>(host.lend(managed));

    template <typename... Values>
    ManagedRecord logged(const std::string& format, Values... values)
    {
        logger->logInfo("file.cpp", "Space::function", format, 7, values...);
        const std::vector<ManagedRecord> records = managed->records();
        return records.empty() ? ManagedRecord() : records.back();
    }
};

class LoggerAdapterLevelTest : public LoggerAdapterTest, public testing::WithParamInterface<Level> {};

TEST_P(LoggerAdapterLevelTest, ReachesItsOwnOperationOnly)
{
    (logger.get()->*GetParam().operation)("file.cpp", "Space::function", "value %d", 4294967295U, 42);
    ASSERT_EQ(managed->records().size(), 1U);
    const ManagedRecord record = managed->records()[0];
    EXPECT_EQ(record.operation, GetParam().managedOperation);
    EXPECT_EQ(record.file, u"file.cpp");
    EXPECT_EQ(record.function, u"Space::function");
    EXPECT_EQ(record.message, u"value 42");
    EXPECT_EQ(record.line, 4294967295U);
}

TEST_P(LoggerAdapterLevelTest, HasTheNumberOfItsSlot)
{
    EXPECT_EQ(vtableSlot(GetParam().operation), GetParam().slot);
    EXPECT_EQ(static_cast<std::size_t>(GetParam().level) + 1, GetParam().slot);
}

INSTANTIATE_TEST_SUITE_P(
    Levels, LoggerAdapterLevelTest,
    testing::Values(Level{&ILumUtilsLoggerDelegate::logFatal, "LogFatal", LogLevel::fatal, 1},
                    Level{&ILumUtilsLoggerDelegate::logError, "LogError", LogLevel::error, 2},
                    Level{&ILumUtilsLoggerDelegate::logWarning, "LogWarning", LogLevel::warning, 3},
                    Level{&ILumUtilsLoggerDelegate::logInfo, "LogInfo", LogLevel::info, 4},
                    Level{&ILumUtilsLoggerDelegate::logVerbose, "LogVerbose", LogLevel::verbose, 5},
                    Level{&ILumUtilsLoggerDelegate::logAOL, "LogAOL", LogLevel::AOL, 6}),
    [](const auto& level) { return std::string(level.param.managedOperation); });

TEST_F(LoggerAdapterTest, TheLevelIsA32BitNumber)
{
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<LogLevel>, std::int32_t>));
}

TEST_F(LoggerAdapterTest, AnInfoRecordArrivesFormatted)
{
    const ManagedRecord record = logged("status %d", 404);
    EXPECT_EQ(record.operation, "LogInfo");
    EXPECT_EQ(record.file, u"file.cpp");
    EXPECT_EQ(record.function, u"Space::function");
    EXPECT_EQ(record.message, u"status 404");
    EXPECT_EQ(record.line, 7U);
}

TEST_F(LoggerAdapterTest, AFormatWithoutConversionsIsTheMessage)
{
    EXPECT_EQ(logged("plain").message, u"plain");
}

TEST_F(LoggerAdapterTest, AnEmptyMessageIsARecord)
{
    EXPECT_EQ(logged("").message, u"");
    EXPECT_EQ(managed->records().size(), 1U);
}

TEST_F(LoggerAdapterTest, AMessageOfAnyLengthIsDeliveredWhole)
{
    for (const std::size_t length : {255U, 256U, 4095U, 4096U, 100000U}) {
        const std::string text(length, 'x');
        EXPECT_EQ(logged("<%s>", text.c_str()).message, u"<" + std::u16string(length, u'x') + u">");
    }
}

TEST_F(LoggerAdapterTest, ARecordThatCannotBeFormattedIsDropped)
{
    constexpr unsigned int kNoCharacter = 0xD800;
    logger->logInfo("file.cpp", "Space::function", "%lc", 7, kNoCharacter);
    EXPECT_EQ(managed->records().size(), kRefusesToFormatNoCharacter ? 0U : 1U);
}

TEST_F(LoggerAdapterTest, AMessageIsCutAtItsFirstNul)
{
    EXPECT_EQ(logged("before%cafter", 0).message, u"before");
}

TEST_F(LoggerAdapterTest, FileAndFunctionAreCutAtTheirFirstNul)
{
    logger->logError("fi\0le"s, "fu\0nction"s, "m", 1);
    EXPECT_EQ(managed->records()[0].file, u"fi");
    EXPECT_EQ(managed->records()[0].function, u"fu");
}

TEST_F(LoggerAdapterTest, TextsAreInTheThreadsNarrowEncodingAndWhatIsInvalidIsReplaced)
{
    const JapaneseTexts encoding;
    const std::string invalid = std::string("a") + kInvalidByte;
    logger->logError(std::string("f") + kHiragana, invalid, "%s|%s", 1, kHiragana, invalid.c_str());
    const ManagedRecord record = managed->records().at(0);
    EXPECT_EQ(record.file, u"f\u3042");
    EXPECT_EQ(record.function, std::u16string(u"a") + kReplacement);
    EXPECT_EQ(record.message, std::u16string(u"\u3042|a") + kReplacement);
}

TEST_F(LoggerAdapterTest, WhatTheHostThrowsReachesTheCodeThatLogged)
{
    const auto thrown = exceptionOf("System.IO.IOException", u"disk full");
    managed->onLog = [&](const ManagedRecord&) { throw ManagedThrow{thrown}; };
    try {
        LUM_LOG(logger, Info, "function", "text");
        FAIL() << "nothing was thrown";
    } catch (const ManagedException& exception) {
        EXPECT_EQ(host.takeException(exception.Release()), thrown);
    }
}

TEST_F(LoggerAdapterTest, ANullLoggerIsFoundByTheFirstRecord)
{
    LumUtilsLoggerDelegateCliAdapter adapter(host.lend(nullptr));
    try {
        adapter.logInfo("file", "function", "text", 1);
        FAIL() << "nothing was thrown";
    } catch (const ManagedException& exception) {
        EXPECT_EQ(host.takeException(exception.Release())->type, "System.NullReferenceException");
    }
}

TEST_F(LoggerAdapterTest, TheHostsLoggerLivesAsLongAsTheAdapter)
{
    EXPECT_EQ(host.nativeHandles(), 1U);
    logger.reset();
    EXPECT_EQ(host.nativeHandles(), 0U);
    EXPECT_EQ(host.allocatedHandles(), 1U);
}

TEST_F(LoggerAdapterTest, RecordsArriveFromSeveralThreadsAtOnce)
{
    constexpr int kThreads = 8;
    constexpr int kRecords = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            for (int record = 0; record < kRecords; ++record) {
                logger->logVerbose("file", "function", "record %d", 1, record);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(managed->recordsOf("LogVerbose").size(), static_cast<std::size_t>(kThreads * kRecords));
}

} // namespace
