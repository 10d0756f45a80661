#include "support/ProcessResources.h"
#include "support/TestServers.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

/// At exit and at unload no thread of the layer is left, and nothing hangs or crashes, whatever is under way.

namespace {

namespace TestServers = LumTests::TestServers;

/// Runs the probe and returns its exit code, or 128 and the signal; -1 if it has not ended after 20 s.
int runProbe(const char* way)
{
    const pid_t child = fork();
    if (child == 0) {
        execl(LUM_END_PROBE, LUM_END_PROBE, way, nullptr);
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

std::ptrdiff_t threadCount()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
}

bool isMapped(const std::string& path)
{
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        if (line.find(path) != std::string::npos) {
            return true;
        }
    }
    return false;
}

class ProcessEnd : public testing::TestWithParam<const char*> {};

TEST_P(ProcessEnd, NeitherHangsNorCrashes)
{
    EXPECT_EQ(runProbe(GetParam()), 0);
}

INSTANTIATE_TEST_SUITE_P(Ways, ProcessEnd,
                         testing::Values("silent", "at-once", "in-completion", "completion-runs", "looking-up"));

TEST(LibraryUnload, LeavesNoThreadAndNoDescriptor)
{
    const std::ptrdiff_t threadsBefore = threadCount();
    std::size_t descriptorsBefore = 0;
    for (int round = 0; round < 3; ++round) {
        void* const plugin = dlopen(LUM_UNLOAD_PLUGIN, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(plugin, nullptr) << dlerror();
        const auto fetch = reinterpret_cast<long (*)(const char*)>(dlsym(plugin, "fetch"));
        const auto start = reinterpret_cast<void (*)(const char*)>(dlsym(plugin, "start"));
        ASSERT_NE(fetch, nullptr);
        ASSERT_NE(start, nullptr);
        EXPECT_EQ(fetch(TestServers::scripted("/bytes?n=1234").c_str()), 1234);
        start(TestServers::silent().c_str());
        EXPECT_GT(threadCount(), threadsBefore);
        ASSERT_EQ(dlclose(plugin), 0);
        EXPECT_EQ(threadCount(), threadsBefore);
        EXPECT_FALSE(isMapped(LUM_UNLOAD_PLUGIN)) << "it was really unloaded";
        // The first round opens what stays with the process, such as the random device.
        if (round == 0) {
            descriptorsBefore = LumTests::openDescriptorCount();
        }
    }
    EXPECT_EQ(LumTests::openDescriptorCount(), descriptorsBefore);
}

} // namespace
