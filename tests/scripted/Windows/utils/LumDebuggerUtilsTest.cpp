#include "Windows/utils/LumDebuggerUtils.h"

#include "support/RecordingLogger.h"
#include "support/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

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

} // namespace
