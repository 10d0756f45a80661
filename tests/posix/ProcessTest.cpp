
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

/// What takes a process of its own to see: how it ends, how the library is unloaded, and what the system gives it.

namespace {

/// Runs the probe and returns its exit code, or 128 and the signal; -1 if it has not ended after 20 s.
int runProbe(const char* way)
{
    const pid_t child = fork();
    if (child == 0) {
        execl(LUM_PROCESS_PROBE, LUM_PROCESS_PROBE, way, nullptr);
        _exit(127);
    }
    for (int wait = 0; wait < 2000; ++wait) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return -1;
}

class ProcessEndTest : public testing::TestWithParam<const char*> {};

TEST_P(ProcessEndTest, NeitherHangsNorCrashes)
{
    EXPECT_EQ(runProbe(GetParam()), 0);
}

INSTANTIATE_TEST_SUITE_P(Ways, ProcessEndTest,
                         testing::Values("silent", "at-once", "in-completion", "completion-runs", "looking-up"));

TEST(SystemStoreTest, DecidesWhichCertificatesAreGood)
{
    EXPECT_EQ(runProbe("trusted"), 0);
}

TEST(EnvironmentTest, NamesTheProxy)
{
    EXPECT_EQ(runProbe("proxy"), 0);
}

TEST(DefaultPortTest, IsTheOneOfTheScheme)
{
    EXPECT_EQ(runProbe("default-ports"), 0) << "the probe says on its error stream what the proxy was asked for";
}

TEST(LargeBodyTest, IsHeldOnce)
{
    EXPECT_EQ(runProbe("large-body"), 0) << "the probe says on its error stream what it cost";
}

class ShortageTest : public testing::TestWithParam<const char*> {};

TEST_P(ShortageTest, FailsTheFirstRequestAndNotTheNext)
{
    EXPECT_EQ(runProbe(GetParam()), 0) << "the probe says on its error stream how the requests ended";
}

INSTANTIATE_TEST_SUITE_P(Kinds, ShortageTest, testing::Values("no-descriptors", "no-threads"));

TEST(LibraryUnloadTest, LeavesNoThreadAndNoDescriptor)
{
    EXPECT_EQ(runProbe("unload"), 0) << "the probe says on its error stream what is left";
}

} // namespace
