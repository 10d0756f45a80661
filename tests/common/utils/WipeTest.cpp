#include "support/ChildProgram.h"

#include <gtest/gtest.h>

#include <string>

/// What an optimiser leaves of a wipe: the stack of a function that has returned is searched for the secret that the
/// function wiped. Without a wipe and after a plain memset, which the optimiser removes, the search must find it: else
/// it shows nothing.

namespace {

constexpr int kGone = 0;
constexpr int kFound = 1;

class WipeTest : public testing::TestWithParam<const char*> {
protected:
    /// The end of the probe with this wipe, built with the parameter's options.
    static int EndOf(const std::string& wipe)
    {
        return LumTests::ChildProgram(LUM_WIPE_PROBES "_" + wipe + "_" + GetParam() + LUM_PROGRAM_SUFFIX, {}).wait();
    }
};

TEST_P(WipeTest, WithoutAWipeTheSecretIsFound)
{
    EXPECT_EQ(EndOf("wipeWithNothing"), kFound);
}

TEST_P(WipeTest, AfterAPlainMemsetTheSecretIsFound)
{
    EXPECT_EQ(EndOf("wipeWithMemset"), kFound);
}

TEST_P(WipeTest, AfterTheLibrarysWipeTheSecretIsGone)
{
    EXPECT_EQ(EndOf("wipeWithLibrary"), kGone);
}

INSTANTIATE_TEST_SUITE_P(Optimisers, WipeTest, testing::Values("O2", "O3lto"),
                         [](const auto& information) { return std::string(information.param); });

} // namespace
