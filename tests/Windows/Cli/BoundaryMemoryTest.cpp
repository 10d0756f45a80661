#include "Windows/Cli/networking/SocksHttpClientCliAdapter.h"
#include "Windows/Cli/utils/LumUtilsLoggerDelegateCliAdapter.h"
#include "Windows/Cli/utils/ManagedException.h"
#include "common/utils/LumLog.h"
#include "support/EachAllocationFails.h"
#include "support/FakeManagedHost.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <string>

/// What crosses the boundary does so whole, or the memory that is missing is told. The handles of the host are let go
/// in any case.

namespace {

using namespace LumTests;
using LumNetworkingCli::HttpClientCliAdapter;
using LumNetworkingCli::SocksHttpClientCliAdapter;
using LumUtilsCli::LumUtilsLoggerDelegateCliAdapter;
using LumUtilsCli::ManagedException;
using Reach = FailingAllocation::Reach;

const std::string kLong(100, 'x');
const std::u16string kLongText(100, u'x');

/// What an operation threw.
struct Thrown {
    enum class Kind { Nothing, BadAlloc, Managed };

    Kind kind = Kind::Nothing;
    LumCliHandle handle = 0;
};

template <typename Operation>
Thrown thrownBy(Operation operation)
{
    try {
        operation();
        return {Thrown::Kind::Nothing, 0};
    } catch (const std::bad_alloc&) {
        return {Thrown::Kind::BadAlloc, 0};
    } catch (const ManagedException& exception) {
        return {Thrown::Kind::Managed, exception.Release()};
    }
}

class BoundaryMemoryTest : public testing::TestWithParam<Reach> {
protected:
    FakeManagedHost host;
    const std::shared_ptr<FakeSocksClient> client = std::make_shared<FakeSocksClient>();
    const std::shared_ptr<FakeManagedLogger> logger = std::make_shared<FakeManagedLogger>();

    /// Runs the operation without each of its allocations in turn: it must end with a native exception for that, or
    /// with the managed one; without any missing as usual, by returning or with a managed exception of that type. After
    /// each run `check` looks at what became of it. Returns how often the managed exception came.
    template <typename Operation, typename Check>
    int ExpectToldWithoutMemory(const std::string& usualType, Operation operation, Check check)
    {
        int managedCount = 0;
        Thrown thrown;
        const std::size_t before = host.nativeHandles();
        EXPECT_GT(expectEndsWithoutMemory(
                      GetParam(), [&] { thrown = thrownBy(operation); },
                      [&](bool hasFailed) {
                          const std::string type = TypeOf(thrown);
                          const bool isForTexts = type == "System.InsufficientMemoryException";
                          managedCount += isForTexts ? 1 : 0;
                          if (hasFailed) {
                              EXPECT_TRUE(isForTexts || thrown.kind == Thrown::Kind::BadAlloc) << type;
                          } else {
                              EXPECT_NE(thrown.kind, Thrown::Kind::BadAlloc);
                              EXPECT_EQ(type, usualType);
                          }
                          check(hasFailed);
                          EXPECT_EQ(host.nativeHandles(), before);
                      }),
                  0);
        return managedCount;
    }

private:
    std::string TypeOf(const Thrown& thrown)
    {
        return thrown.kind == Thrown::Kind::Managed ? host.takeException(thrown.handle)->type : "";
    }
};

INSTANTIATE_TEST_SUITE_P(Reaches, BoundaryMemoryTest, testing::Values(Reach::One, Reach::AllThatFollow),
                         [](const auto& reach) { return reach.param == Reach::One ? "One" : "AllThatFollow"; });

TEST_P(BoundaryMemoryTest, ARequestAndItsAnswerCrossWhole)
{
    FakeResponse answer;
    answer.body = kLongText;
    answer.headers = std::vector<std::optional<std::u16string>>{kLongText + u":" + kLongText, u"a:b"};
    client->answer(answer);
    const HttpClientCliAdapter adapter(host.lend(client));
    const std::map<std::string, std::string> headers = {{kLong, kLong}, {"a", "b"}};
    HttpClientCliAdapter::HttpResponse response;
    const int managedCount = ExpectToldWithoutMemory(
        "", [&] { response = adapter.SendAndGetResponse("POST", kLong, headers, kLong); },
        [&](bool hasFailed) {
            EXPECT_EQ(response.body, hasFailed ? "" : kLong);
            EXPECT_EQ(response.headers.size(), hasFailed ? 0U : 2U);
            response = {};
        });
    // Without memory for a text there may be memory for the exception that says so.
    EXPECT_EQ(managedCount > 0, GetParam() == Reach::One) << managedCount;
    EXPECT_EQ(client->requests().back().headers.size(), 2U);
}

TEST_P(BoundaryMemoryTest, WhatTheHostThrowsIsThrownOrLetGo)
{
    client->fail(exceptionOf("System.Exception", kLongText));
    const HttpClientCliAdapter adapter(host.lend(client));
    ExpectToldWithoutMemory(
        "System.Exception", [&] { adapter.SendAndGetResponse("GET", "u", {}, ""); }, [](bool) {});
    FakeResponse withoutBody;
    withoutBody.body = std::nullopt;
    client->answer(withoutBody);
    ExpectToldWithoutMemory(
        "System.ArgumentNullException", [&] { adapter.SendAndGetResponse("GET", "u", {}, ""); }, [](bool) {});
}

TEST_P(BoundaryMemoryTest, AMessageOfAnExceptionIsReadWhole)
{
    client->fail(exceptionOf("System.Exception", kLongText));
    const HttpClientCliAdapter adapter(host.lend(client));
    try {
        adapter.SendAndGetResponse("GET", "u", {}, "");
        FAIL() << "nothing was thrown";
    } catch (const ManagedException& exception) {
        std::string message;
        ExpectToldWithoutMemory(
            "", [&] { message = exception.Message(); },
            [&](bool hasFailed) { EXPECT_EQ(message, hasFailed ? "" : kLong); });
    }
}

TEST_P(BoundaryMemoryTest, TheProxysParametersAreSetWhole)
{
    const LumUtilsCli::ManagedReference lent = host.lend(client);
    SocksHttpClientCliAdapter adapter(lent);
    ExpectToldWithoutMemory(
        "", [&] { adapter.SetSocksParameters(kLong, kLong); },
        [&](bool hasFailed) { EXPECT_EQ(client->parameters().size(), hasFailed ? 0U : 1U); });
    ExpectToldWithoutMemory(
        "", [&] { const SocksHttpClientCliAdapter another(kLong, kLong, lent); },
        [&](bool hasFailed) { EXPECT_EQ(client->parameters().size(), hasFailed ? 1U : 2U); });
}

TEST_P(BoundaryMemoryTest, ARecordReachesTheHostWhole)
{
    using Delegate = LumUtils::ILumUtilsLoggerDelegate;
    LumUtilsLoggerDelegateCliAdapter adapter(host.lend(logger));
    std::size_t records = 0;
    for (const LumUtils::LogOperation operation : {&Delegate::logFatal, &Delegate::logError, &Delegate::logWarning,
                                                   &Delegate::logInfo, &Delegate::logVerbose, &Delegate::logAOL}) {
        ExpectToldWithoutMemory(
            "", [&] { (adapter.*operation)(kLong, kLong, "%s", 7, kLong.c_str()); },
            [&](bool hasFailed) {
                records += hasFailed ? 0 : 1;
                EXPECT_EQ(logger->records().size(), records);
            });
        EXPECT_EQ(logger->records().back().message, kLongText);
    }
}

TEST_P(BoundaryMemoryTest, WhatAManagedLoggerThrowsIsThrownOrLetGo)
{
    logger->onLog = [](const ManagedRecord&) { throw ManagedThrow{exceptionOf("System.Exception", u"disk full")}; };
    LumUtilsLoggerDelegateCliAdapter adapter(host.lend(logger));
    ExpectToldWithoutMemory(
        "System.Exception", [&] { adapter.logError(kLong, kLong, "%s", 7, kLong.c_str()); }, [](bool) {});
}

TEST_P(BoundaryMemoryTest, AHandleThatCannotBeMadeIsToldWhole)
{
    const LumUtilsCli::ManagedReference lent = host.lend(logger);
    ExpectToldWithoutMemory(
        "System.OutOfMemoryException",
        [&] {
            host.failCall(1);
            const LumUtilsLoggerDelegateCliAdapter adapter(lent);
        },
        [](bool) {});
}

} // namespace
