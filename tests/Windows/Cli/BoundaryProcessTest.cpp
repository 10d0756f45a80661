#include "support/ChildProgram.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

/// What takes a process of its own to see: that workers outlive what happens to the library.

namespace {

class BoundaryProcessTest : public testing::TestWithParam<const char*> {};

TEST_P(BoundaryProcessTest, DoesNotCrashTheWorkers)
{
    EXPECT_EQ(LumTests::ChildProgram(LUM_BOUNDARY_PROBE, {GetParam()}).waitFor(LumTests::kLongestWait), 0);
}

INSTANTIATE_TEST_SUITE_P(Ways, BoundaryProcessTest, testing::Values("unload", "exit"));

} // namespace
