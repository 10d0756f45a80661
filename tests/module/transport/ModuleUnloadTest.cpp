#include "support/ChildProgram.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

/// What becomes of requests when a host unloads the module.

namespace {

class ModuleUnloadTest : public testing::TestWithParam<const char*> {};

TEST_P(ModuleUnloadTest, LeavesTheCodeThatRequestsUnderWayNeed)
{
    EXPECT_EQ(LumTests::ChildProgram(LUM_UNLOAD_PROBE, {GetParam()}).waitFor(LumTests::kLongestWait), 0)
        << "the probe says on its error stream what is not so";
}

INSTANTIATE_TEST_SUITE_P(Ways, ModuleUnloadTest, testing::Values("forgotten", "held", "unanswered", "unused"));

} // namespace
