#include "Windows/utils/LumDebuggerUtils.h"

#include "support/RecordingLogger.h"
#include "support/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

using LumTests::RecordingLogger;
using LumTests::ScriptedPlatform;
using LumUtils::LumDebuggerUtils;

TEST(LumDebuggerUtilsTest, ThePlatformSaysWhetherADebuggerIsAttached)
{
    ScriptedPlatform platform;
    LumDebuggerUtils utils(nullptr);
    EXPECT_FALSE(utils.isDebuggerAttached());
    platform.hasDebugger = true;
    EXPECT_TRUE(utils.isDebuggerAttached());
    EXPECT_EQ(platform.countOf("IsDebuggerPresent"), 2);
}

TEST(LumDebuggerUtilsTest, TheWaitsEndAsThePlatformSays)
{
    ScriptedPlatform platform;
    const auto logger = std::make_shared<RecordingLogger>();
    LumDebuggerUtils utils(logger);
    EXPECT_THROW(utils.waitForDebugger(std::chrono::milliseconds(0)), std::runtime_error);
    platform.hasDebugger = true;
    utils.waitForDebugger(std::nullopt);
    ASSERT_EQ(logger->records().size(), 4U);
    EXPECT_EQ(logger->records()[3].message, "LumDebuggerUtils Linux: Debugger attached successfully");
}

/// The pauses that a wait asks for, in place of the pauses themselves. A debugger attaches in the last.
struct PausesOfWait {
    explicit PausesOfWait(ScriptedPlatform& platformOfTest) : platform(platformOfTest) {}

    void take(const timespec& pause)
    {
        taken.push_back(std::chrono::seconds(pause.tv_sec) + std::chrono::nanoseconds(pause.tv_nsec));
        platform.hasDebugger = taken.size() == 3;
    }

    ScriptedPlatform& platform;
    std::vector<std::chrono::nanoseconds> taken;
};

thread_local PausesOfWait* pauses = nullptr;

class DebuggerPauseTest : public testing::Test {
protected:
    DebuggerPauseTest() { pauses = &asked; }
    ~DebuggerPauseTest() override { pauses = nullptr; }

    ScriptedPlatform platform;
    PausesOfWait asked{platform};
    LumDebuggerUtils utils{nullptr};
};

TEST_F(DebuggerPauseTest, AWaitLooksEveryHundredMilliseconds)
{
    utils.waitForDebugger(std::nullopt);
    EXPECT_EQ(asked.taken, std::vector<std::chrono::nanoseconds>(3, std::chrono::milliseconds(100)));
}

TEST_F(DebuggerPauseTest, AWaitWithATimeoutLooksAsOften)
{
    utils.waitForDebugger(std::chrono::hours(1));
    EXPECT_EQ(asked.taken, std::vector<std::chrono::nanoseconds>(3, std::chrono::milliseconds(100)));
}

TEST_F(DebuggerPauseTest, AWaitWithCallbackLooksAsOftenAsItIsTold)
{
    utils.waitForDebuggerWithCallback([] { return true; }, std::chrono::milliseconds(7));
    EXPECT_EQ(asked.taken, std::vector<std::chrono::nanoseconds>(3, std::chrono::milliseconds(7)));
}

} // namespace

/// Stands before the system's own, for whoever sleeps in this program.
extern "C" int nanosleep(const timespec* pause, timespec* rest)
{
    if (pauses != nullptr) {
        pauses->take(*pause);
        return 0;
    }
    const int code = clock_nanosleep(CLOCK_MONOTONIC, 0, pause, rest);
    errno = code == 0 ? errno : code;
    return code == 0 ? 0 : -1;
}
