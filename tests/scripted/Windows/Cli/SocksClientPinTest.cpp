#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"

#include "support/FakeManagedHost.h"
#include "support/RecordingLogger.h"
#include "support/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

/// A worker may run the module's code whatever the host does with the module, so each client pins it. That is asked for
/// once in a process, so each test looks in a process of its own.

namespace {

using namespace LumTests;
using LumNetworking::LumAsynchronousSocksHttpClient;

class SocksClientPinDeathTest : public testing::Test {
protected:
    SocksClientPinDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    [[noreturn]] void endWithPins() { std::_Exit(static_cast<int>(platform.countOf("GetModuleHandleExW"))); }

    ScriptedPlatform platform;
    FakeManagedHost host;
    std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    LumUtilsCli::ManagedReference client = host.lend(std::make_shared<FakeSocksClient>());
};

TEST_F(SocksClientPinDeathTest, AClientPinsTheModule)
{
    EXPECT_EXIT(
        {
            const LumAsynchronousSocksHttpClient own(logger, client);
            endWithPins();
        },
        testing::ExitedWithCode(1), "");
}

TEST_F(SocksClientPinDeathTest, AClientWithATicketPinsTheModule)
{
    EXPECT_EXIT(
        {
            const LumAsynchronousSocksHttpClient own(logger, "ticket", "socks5://proxy", client);
            endWithPins();
        },
        testing::ExitedWithCode(1), "");
}

} // namespace
