#include "support/posix/ChildProcess.h"

#include <gtest/gtest.h>

/// What takes a process of its own to see on Linux: how the library is unloaded, and what the system gives it.

namespace {

int runProbe(const char* way)
{
    return LumTests::runProgram({LUM_PROCESS_PROBE, way});
}

TEST(EnvironmentTest, NamesTheProxy)
{
    EXPECT_EQ(runProbe("proxy"), 0);
}

TEST(LocalTimeTest, IsTheOneOfTheProcesssZone)
{
    EXPECT_EQ(runProbe("local-time"), 0) << "the probe says on its error stream what it got";
}

TEST(RandomDeviceTest, FailsAUuidIfItCannotBeOpenedAndNotTheNext)
{
    EXPECT_EQ(runProbe("no-random-device"), 0) << "the probe says on its error stream what happened";
}

class ShortageTest : public testing::TestWithParam<const char*> {};

TEST_P(ShortageTest, FailsOnlyRequestsThatNeedMore)
{
    EXPECT_EQ(runProbe(GetParam()), 0) << "the probe says on its error stream how the requests ended";
}

INSTANTIATE_TEST_SUITE_P(Kinds, ShortageTest, testing::Values("no-descriptors", "no-threads"));

INSTANTIATE_TEST_SUITE_P(KindsLater, ShortageTest, testing::Values("no-more-descriptors", "no-more-threads"));

TEST(ForkTest, ACopyOfTheProcessNeitherHangsNorDisturbsItsRequests)
{
    EXPECT_EQ(runProbe("forks"), 0) << "the probe says on its error stream what is not so";
}

TEST(ForkTest, ACopyThatLivesOnKeepsNobodyBusy)
{
    EXPECT_EQ(runProbe("lives-on"), 0) << "the probe says on its error stream what is not so";
}

TEST(DescriptorLimitTest, LeavesRequestsWaitingAndTheHostItsFiles)
{
    EXPECT_EQ(runProbe("few-descriptors"), 0) << "the probe says on its error stream how the requests ended";
}

TEST(KeptConnectionTest, UnaskedBytesOverTlsGoToNoLaterRequest)
{
    EXPECT_EQ(runProbe("unasked-tls-bytes"), 0) << "the probe says on its error stream what was answered";
}

TEST(LookUpTest, HoldsUpNoOtherRequestAndIsTimed)
{
    EXPECT_EQ(runProbe("looking-up"), 0) << "the probe says on its error stream what happened";
}

TEST(LookUpTest, HoldsUpNoEndOfTheProcess)
{
    EXPECT_EQ(runProbe("left-looking-up"), 0) << "128 and SIGALRM: the end took too long";
}

TEST(ForkTest, AProgramThatIsStartedInheritsNoFileAndNoConnection)
{
    EXPECT_EQ(runProbe("programs"), 0) << "the probe says on its error stream what is inherited";
}

TEST(SignalTest, InterruptsNoRequest)
{
    EXPECT_EQ(runProbe("signals"), 0) << "the probe says on its error stream how many there were";
}

TEST(ClockTest, TimeOutsTakeNoNoticeOfTheTimeOfDay)
{
    EXPECT_EQ(LumTests::runProgram({LUM_CLOCK_PROBE}), 0) << "the probe says on its error stream what is not so";
}

TEST(LibraryUnloadTest, LeavesNoThreadAndNoDescriptor)
{
    EXPECT_EQ(runProbe("unload"), 0) << "the probe says on its error stream what is left";
}

} // namespace
