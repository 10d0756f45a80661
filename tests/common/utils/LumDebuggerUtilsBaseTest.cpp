#include "common/utils/LumDebuggerUtilsBase.h"

#include "Windows/utils/LumDebuggerUtils.h"
#include "platform/LumPlatform.h"
#include "support/EachAllocationFails.h"
#include "support/RecordingLogger.h"
#include "support/VtableSlot.h"
#include "support/WithMemory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using LumTests::LogRecord;
using LumTests::RecordingLogger;
using LumUtils::LumDebuggerUtilsBase;
using LumUtils::LumLogLevel;
using std::chrono::milliseconds;

/// A pause of this length would not end within the tests' time.
constexpr milliseconds kForever = std::chrono::hours(24);

/// A debugger that attaches before a certain look for it.
class ScriptedDebugger : public LumDebuggerUtilsBase {
public:
    using LumDebuggerUtilsBase::LumDebuggerUtilsBase;

    bool isDebuggerAttached() const override
    {
        const LumTests::WithMemory withMemory;
        events.emplace_back("look");
        return ++looks >= attachesBefore;
    }

    int attachesBefore = 1;
    mutable int looks = 0;
    mutable std::vector<std::string> events;
};

struct ExpectedRecord {
    LumLogLevel level;
    unsigned int line;
    const char* format;
};

constexpr ExpectedRecord kStart{LumLogLevel::Info, 28, "LumDebuggerUtils %s: Waiting for debugger to attach..."};
constexpr ExpectedRecord kTimeout{LumLogLevel::Warning, 37, "LumDebuggerUtils %s: Timeout waiting for debugger"};
constexpr ExpectedRecord kAttached{LumLogLevel::Info, 45, "LumDebuggerUtils %s: Debugger attached successfully"};
constexpr ExpectedRecord kInvalid{LumLogLevel::Error, 53, "LumDebuggerUtils %s: Invalid callback provided"};
constexpr ExpectedRecord kCallbackStart{LumLogLevel::Info, 57,
                                        "LumDebuggerUtils %s: Waiting for debugger with callback..."};
constexpr ExpectedRecord kCallbackAttached{LumLogLevel::Info, 64,
                                           "LumDebuggerUtils %s: Debugger attached successfully"};
constexpr ExpectedRecord kCancelled{LumLogLevel::Info, 66, "LumDebuggerUtils %s: Wait cancelled by callback"};

class LumDebuggerUtilsBaseTest : public testing::Test {
protected:
    void ExpectRecords(const std::string& function, const std::vector<ExpectedRecord>& expected) const
    {
        const std::vector<LogRecord> records = logger->records();
        ASSERT_EQ(records.size(), expected.size());
        for (std::size_t index = 0; index < records.size(); ++index) {
            const LogRecord& record = records[index];
            std::string message = expected[index].format;
            message.replace(message.find("%s"), 2, kLumPlatformName);
            EXPECT_EQ(record.level, expected[index].level) << message;
            EXPECT_EQ(record.line, expected[index].line) << message;
            EXPECT_EQ(record.format, expected[index].format);
            EXPECT_EQ(record.message, message);
            EXPECT_EQ(record.function, "LumUtils::LumDebuggerUtilsBase::" + function);
            EXPECT_TRUE(LumTests::endsWithPath(record.file, "src/common/utils/LumDebuggerUtilsBase.cpp"))
                << record.file;
            EXPECT_EQ(record.thread, std::this_thread::get_id());
        }
    }

    std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    ScriptedDebugger debugger{logger};
};

TEST_F(LumDebuggerUtilsBaseTest, OperationsStandInTheirSlots)
{
    EXPECT_EQ(LumTests::vtableSlot(&LumDebuggerUtilsBase::isDebuggerAttached), 1U);
    EXPECT_TRUE(std::has_virtual_destructor_v<LumDebuggerUtilsBase>);
    EXPECT_TRUE(std::is_abstract_v<LumDebuggerUtilsBase>);
}

TEST_F(LumDebuggerUtilsBaseTest, ThePlatformIsNamed)
{
    EXPECT_EQ(std::string(kLumPlatformName), sizeof(wchar_t) == 2 ? "Windows" : "Linux");
}

TEST_F(LumDebuggerUtilsBaseTest, WaitingForADebuggerThatIsAttachedReturnsAfterOneLook)
{
    debugger.waitForDebugger(std::nullopt);
    EXPECT_EQ(debugger.looks, 1) << "a pause would be followed by another look";
    ExpectRecords("waitForDebugger", {kStart, kAttached});
}

TEST_F(LumDebuggerUtilsBaseTest, AnAttachedDebuggerIsFoundWhateverTheTimeout)
{
    debugger.waitForDebugger(milliseconds(0));
    debugger.waitForDebugger(milliseconds(-5));
    debugger.waitForDebugger(milliseconds::max());
    EXPECT_EQ(debugger.looks, 3);
    ExpectRecords("waitForDebugger", {kStart, kAttached, kStart, kAttached, kStart, kAttached});
}

TEST_F(LumDebuggerUtilsBaseTest, WaitingEndsWhenADebuggerAttaches)
{
    debugger.attachesBefore = 3;
    debugger.waitForDebugger(std::nullopt);
    EXPECT_EQ(debugger.looks, 3);
    ExpectRecords("waitForDebugger", {kStart, kAttached});
}

TEST_F(LumDebuggerUtilsBaseTest, ATimeoutThatHasNotPassedDoesNotEndTheWait)
{
    for (const milliseconds timeout : {milliseconds(kForever), milliseconds::max()}) {
        logger->clear();
        debugger.looks = 0;
        debugger.attachesBefore = 2;
        debugger.waitForDebugger(timeout);
        EXPECT_EQ(debugger.looks, 2);
        ExpectRecords("waitForDebugger", {kStart, kAttached});
    }
}

class TimeoutTest : public LumDebuggerUtilsBaseTest, public testing::WithParamInterface<int> {};

TEST_P(TimeoutTest, EndsTheWaitWithAnException)
{
    debugger.attachesBefore = 1000000;
    try {
        debugger.waitForDebugger(milliseconds(GetParam()));
        ADD_FAILURE() << "does not throw";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "Timeout waiting for debugger to attach");
    }
    if (GetParam() <= 0) {
        EXPECT_EQ(debugger.looks, 1);
    } else {
        EXPECT_LE(debugger.looks, GetParam() / 100 + 2) << "pauses of 100 milliseconds";
    }
    ExpectRecords("waitForDebugger", {kStart, kTimeout});
}

INSTANTIATE_TEST_SUITE_P(Milliseconds, TimeoutTest, testing::Values(0, -1, 1, 50, 250),
                         [](const auto& information) { return std::to_string(information.index); });

TEST_F(LumDebuggerUtilsBaseTest, TheSmallestTimeoutHasPassed)
{
    debugger.attachesBefore = 2;
    EXPECT_THROW(debugger.waitForDebugger(milliseconds::min()), std::runtime_error);
    ExpectRecords("waitForDebugger", {kStart, kTimeout});
}

TEST_F(LumDebuggerUtilsBaseTest, AnEmptyCallbackIsRefused)
{
    try {
        debugger.waitForDebuggerWithCallback(nullptr, kForever);
        ADD_FAILURE() << "does not throw";
    } catch (const std::invalid_argument& failure) {
        EXPECT_STREQ(failure.what(), "shouldContinue callback cannot be null");
    }
    EXPECT_EQ(debugger.looks, 0);
    ExpectRecords("waitForDebuggerWithCallback", {kInvalid});
}

TEST_F(LumDebuggerUtilsBaseTest, ACallbackThatStopsAtOnceCancelsTheWaitWithoutAPause)
{
    debugger.attachesBefore = 1000;
    debugger.waitForDebuggerWithCallback(
        [&] {
            debugger.events.emplace_back("callback");
            return false;
        },
        kForever);
    EXPECT_EQ(debugger.events, (std::vector<std::string>{"look", "callback", "look"}));
    ExpectRecords("waitForDebuggerWithCallback", {kCallbackStart, kCancelled});
}

TEST_F(LumDebuggerUtilsBaseTest, AnAttachedDebuggerIsFoundWithoutAskingTheCallback)
{
    debugger.waitForDebuggerWithCallback(
        [&] {
            debugger.events.emplace_back("callback");
            return true;
        },
        kForever);
    EXPECT_EQ(debugger.events, (std::vector<std::string>{"look", "look"}));
    ExpectRecords("waitForDebuggerWithCallback", {kCallbackStart, kCallbackAttached});
}

TEST_F(LumDebuggerUtilsBaseTest, TheCallbackIsAskedBeforeEachPauseAndNotOnceADebuggerIsThere)
{
    debugger.attachesBefore = 4;
    debugger.waitForDebuggerWithCallback(
        [&] {
            debugger.events.emplace_back("callback");
            return true;
        },
        milliseconds(1));
    EXPECT_EQ(debugger.events,
              (std::vector<std::string>{"look", "callback", "look", "callback", "look", "callback", "look", "look"}));
    ExpectRecords("waitForDebuggerWithCallback", {kCallbackStart, kCallbackAttached});
}

TEST_F(LumDebuggerUtilsBaseTest, ADebuggerThatAttachesBeforeTheLastLookCountsAlthoughTheCallbackStops)
{
    debugger.attachesBefore = 3;
    int calls = 0;
    debugger.waitForDebuggerWithCallback([&calls] { return ++calls < 2; }, milliseconds(1));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(debugger.looks, 3);
    ExpectRecords("waitForDebuggerWithCallback", {kCallbackStart, kCallbackAttached});
}

TEST_F(LumDebuggerUtilsBaseTest, APauseThatIsNotPositiveIsNone)
{
    debugger.attachesBefore = 1000;
    for (const milliseconds pause : {milliseconds(0), milliseconds(-1)}) {
        int calls = 0;
        debugger.waitForDebuggerWithCallback([&calls] { return ++calls < 10; }, pause);
        EXPECT_EQ(calls, 10);
    }
}

TEST_F(LumDebuggerUtilsBaseTest, WhatTheCallbackThrowsPassesThrough)
{
    debugger.attachesBefore = 1000;
    try {
        debugger.waitForDebuggerWithCallback([]() -> bool { throw 4711; }, kForever);
        ADD_FAILURE() << "does not throw";
    } catch (int value) {
        EXPECT_EQ(value, 4711);
    }
    ExpectRecords("waitForDebuggerWithCallback", {kCallbackStart});
}

TEST_F(LumDebuggerUtilsBaseTest, WithoutALoggerTheWaitsWorkSilently)
{
    ScriptedDebugger silent(nullptr);
    silent.waitForDebugger(std::nullopt);
    silent.waitForDebuggerWithCallback([] { return false; }, kForever);
    silent.attachesBefore = 1000;
    EXPECT_THROW(silent.waitForDebugger(milliseconds(0)), std::runtime_error);
    EXPECT_THROW(silent.waitForDebuggerWithCallback({}, kForever), std::invalid_argument);
}

/// How a wait ended.
enum class End { None, Returned, OutOfMemory, TimedOut, Refused };

template <typename Wait>
End endOf(Wait wait)
{
    try {
        wait();
        return End::Returned;
    } catch (const std::bad_alloc&) {
        return End::OutOfMemory;
    } catch (const std::invalid_argument&) {
        return End::Refused;
    } catch (const std::runtime_error&) {
        return End::TimedOut;
    }
}

class LumDebuggerUtilsBaseMemoryTest : public LumDebuggerUtilsBaseTest {
protected:
    /// Whichever allocation a wait lacks, for its records or for what it throws, it ends at once, and so; else as
    /// usual.
    template <typename Wait>
    void ExpectThrowsWithoutMemory(End usual, std::size_t usualRecords, Wait wait)
    {
        End end = End::None;
        EXPECT_GT(LumTests::withEachAllocationFailing([&] { end = endOf(wait); },
                                                      [&](bool hasFailed) {
                                                          EXPECT_EQ(end, hasFailed ? End::OutOfMemory : usual);
                                                          EXPECT_TRUE(hasFailed ||
                                                                      logger->records().size() == usualRecords);
                                                          EXPECT_EQ(logger.use_count(), 2);
                                                          logger->clear();
                                                      }),
                  3);
    }
};

TEST_F(LumDebuggerUtilsBaseMemoryTest, AWaitWithoutMemoryThrows)
{
    ExpectThrowsWithoutMemory(End::Returned, 2, [&] { debugger.waitForDebugger(std::nullopt); });
    ExpectThrowsWithoutMemory(End::Returned, 2, [&] { debugger.waitForDebugger(kForever); });
    debugger.attachesBefore = std::numeric_limits<int>::max();
    ExpectThrowsWithoutMemory(End::TimedOut, 2, [&] { debugger.waitForDebugger(milliseconds(0)); });
}

TEST_F(LumDebuggerUtilsBaseMemoryTest, AWaitWithACallbackThrowsWithoutMemory)
{
    ExpectThrowsWithoutMemory(End::Refused, 1, [&] { debugger.waitForDebuggerWithCallback({}, kForever); });
    ExpectThrowsWithoutMemory(End::Returned, 2,
                              [&] { debugger.waitForDebuggerWithCallback([] { return true; }, kForever); });
    debugger.attachesBefore = std::numeric_limits<int>::max();
    ExpectThrowsWithoutMemory(End::Returned, 2,
                              [&] { debugger.waitForDebuggerWithCallback([] { return false; }, kForever); });
    const std::string captured(100, 'x');
    ExpectThrowsWithoutMemory(End::Returned, 2, [&] {
        debugger.waitForDebuggerWithCallback([captured] { return captured.empty(); }, kForever);
    });
}

TEST_F(LumDebuggerUtilsBaseMemoryTest, AWaitOnTheSystemsAnswerThrowsWithoutMemory)
{
    logger = std::make_shared<RecordingLogger>();
    LumUtils::LumDebuggerUtils system(logger);
    const bool isAttached = system.isDebuggerAttached();
    ExpectThrowsWithoutMemory(isAttached ? End::Returned : End::TimedOut, 2,
                              [&] { system.waitForDebugger(milliseconds(0)); });
    ExpectThrowsWithoutMemory(End::Returned, 2,
                              [&] { system.waitForDebuggerWithCallback([] { return false; }, kForever); });
}

} // namespace
