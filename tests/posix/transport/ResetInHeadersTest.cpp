#include "Windows/networking/TransportTest.h"

namespace LumTests {

/// A failure that Wine 8 does not survive, so that only Linux has the test.
class ResetInHeadersTest : public TransportTest {};

TEST_F(ResetInHeadersTest, IsABrokenConnection)
{
    const Outcome outcome = Get(TestServers::scripted("/reset?at=headers"));
    expectFailure(outcome, *logger, kRequestError, 12030);
    EXPECT_NE(outcome.thread, std::this_thread::get_id());
}

} // namespace LumTests
