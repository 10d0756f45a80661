#include "allocation/ScenarioProcess.h"
#include "support/TrustedAuthority.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace {

/// The authority of the test servers, if they are there. A process started by this one trusts it too.
std::unique_ptr<LumTests::TrustedAuthority> trustTestServers()
{
    const char* const file = std::getenv("LUM_TEST_CA_FILE");
    return file == nullptr ? nullptr : std::make_unique<LumTests::TrustedAuthority>(file);
}

} // namespace

/// lum_allocation_tests: the tests, or what one of them starts in a process of its own.
int main(int count, char** words)
{
    testing::InitGoogleTest(&count, words);
    const std::string way = count > 2 ? words[1] : "";
    if (way == LumTests::kFirstRequest && count == 4) {
        return LumTests::runFirstRequest(words[2], std::stoul(words[3]));
    }
    if (way == LumTests::kThroughProxy) {
        return LumTests::runThroughProxy(words[2]);
    }
    const auto authority = trustTestServers();
    return RUN_ALL_TESTS();
}
