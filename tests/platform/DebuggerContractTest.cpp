#include "platform/LumPlatform.h"
#include "support/Debugger.h"

#include <gtest/gtest.h>

#include <string>

/// Whether the system's own word on debuggers is what the waits rely on: with a real debugger, in a process of its own.

namespace {

using LumTests::ChildProgram;

const std::string kName = std::string("LumDebuggerUtils ") + kLumPlatformName;

TEST(DebuggerContractTest, WithoutADebuggerNoneIsAttached)
{
    ChildProgram probe(LUM_DEBUGGER_PROBE, {"once"});
    EXPECT_EQ(probe.readLine(), kName + ": Waiting for debugger to attach...");
    EXPECT_EQ(probe.readLine(), kName + ": Timeout waiting for debugger");
    EXPECT_EQ(probe.readLine(), "");
    EXPECT_EQ(probe.wait(), 3);
}

TEST(DebuggerContractTest, ADebuggerThatAttachesEndsTheWait)
{
    ChildProgram probe(LUM_DEBUGGER_PROBE, {"timeout"});
    ASSERT_EQ(probe.readLine(), kName + ": Waiting for debugger to attach...");
    EXPECT_TRUE(LumTests::debugToItsEnd(probe));
    EXPECT_EQ(probe.readLine(), kName + ": Debugger attached successfully");
    EXPECT_EQ(probe.readLine(), "");
    EXPECT_EQ(probe.wait(), 0);
}

TEST(DebuggerContractTest, ADebuggerThatAttachesEndsTheWaitWithACallback)
{
    ChildProgram probe(LUM_DEBUGGER_PROBE, {"callback"});
    ASSERT_EQ(probe.readLine(), kName + ": Waiting for debugger with callback...");
    EXPECT_TRUE(LumTests::debugToItsEnd(probe));
    EXPECT_EQ(probe.readLine(), kName + ": Debugger attached successfully");
    EXPECT_EQ(probe.readLine(), "");
    EXPECT_EQ(probe.wait(), 0);
}

} // namespace
