#include "Windows/Cli/LumCliAbi.h"

#include "Windows/Cli/networking/socks/LumAsynchronousSocksHttpClient.h"
#include "support/FakeManagedHost.h"
#include "support/RecordingLogger.h"
#include "support/RequestRecorder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using namespace LumTests;
using LumNetworking::HttpRequestResult;
using LumNetworking::ILumAsynchronousHttpClient;
using LumUtils::ILumUtilsLoggerDelegate;

constexpr const char16_t* kConstructor =
    u"LumNetworking::LumAsynchronousSocksHttpClient::LumAsynchronousSocksHttpClient";

/// How a function of the library ended, as the managed half sees it.
struct Created {
    std::int32_t status;
    std::unique_ptr<ILumAsynchronousHttpClient> client;
    std::shared_ptr<FakeException> exception;
};

class SocksFactoryTest : public testing::Test {
protected:
    FakeManagedHost host;
    std::shared_ptr<FakeManagedLogger> logger = std::make_shared<FakeManagedLogger>();
    std::shared_ptr<FakeSocksClient> socks = std::make_shared<FakeSocksClient>();

    Created adopt(std::int32_t status, void* address, LumCliHandle exception)
    {
        EXPECT_EQ(address != nullptr, status == kLumCliOk);
        EXPECT_EQ(exception != 0, status == kLumCliException);
        return {status, std::unique_ptr<ILumAsynchronousHttpClient>(static_cast<ILumAsynchronousHttpClient*>(address)),
                exception == 0 ? nullptr : host.takeException(exception)};
    }

    Created create(const LumCliHostTable* table, LumCliHandle managedLogger, LumCliHandle client)
    {
        void* address = this;
        LumCliHandle exception = -1;
        const std::int32_t status =
            LumCliCreateSocksClientWithManagedLogger(table, managedLogger, client, &address, &exception);
        return adopt(status, address, exception);
    }

    Created create(const std::shared_ptr<FakeManagedLogger>& managedLogger,
                   const std::shared_ptr<FakeSocksClient>& client)
    {
        return create(&host.table(), host.handleTo(managedLogger), host.handleTo(client));
    }

    Created createNative(const void* nativeLogger, const std::shared_ptr<FakeSocksClient>& client)
    {
        void* address = this;
        LumCliHandle exception = -1;
        const std::int32_t status = LumCliCreateSocksClientWithNativeLogger(
            &host.table(), nativeLogger, host.handleTo(client), &address, &exception);
        return adopt(status, address, exception);
    }
};

void expectNullArgument(const Created& created, const std::u16string& parameter)
{
    EXPECT_EQ(created.status, kLumCliException);
    ASSERT_TRUE(created.exception);
    EXPECT_EQ(created.exception->type, "System.ArgumentNullException");
    EXPECT_EQ(created.exception->paramName, parameter);
}

TEST_F(SocksFactoryTest, TheClientIsCreatedAndSaysSo)
{
    const Created created = create(logger, socks);
    EXPECT_EQ(created.status, kLumCliOk);
    ASSERT_EQ(logger->records().size(), 1U);
    const ManagedRecord record = logger->records()[0];
    EXPECT_EQ(record.operation, "LogInfo");
    EXPECT_EQ(record.message, u"LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests");
    EXPECT_EQ(record.function, kConstructor);
    EXPECT_NE(record.file.find(u"LumAsynchronousSocksHttpClient.cpp"), std::u16string::npos);
    EXPECT_GT(record.line, 0U);
    EXPECT_TRUE(socks->parameters().empty());
}

TEST_F(SocksFactoryTest, TheAddressIsThatOfASocksClient)
{
    const Created created = create(logger, socks);
    EXPECT_NE(dynamic_cast<LumNetworking::LumAsynchronousSocksHttpClient*>(created.client.get()), nullptr);
}

TEST_F(SocksFactoryTest, TheClientHoldsTheHostsObjectsUntilItIsDeleted)
{
    Created created = create(logger, socks);
    EXPECT_EQ(host.nativeHandles(), 3U);
    created.client.reset();
    EXPECT_EQ(host.nativeHandles(), 0U);
}

TEST_F(SocksFactoryTest, TheClientsRequestsReachTheHost)
{
    const Created created = create(logger, socks);
    const RequestRecorder recorder;
    const auto transaction = created.client->Get("http://host/", {}, recorder.Completion(), true, 30);
    EXPECT_EQ(recorder.WaitForOutcome().result, HttpRequestResult::SUCCESS);
    EXPECT_EQ(socks->requests().at(0).url, u"http://host/");
}

TEST_F(SocksFactoryTest, WithoutClientAnArgumentIsNull)
{
    expectNullArgument(create(logger, nullptr), u"socksHttpClientCli");
    EXPECT_TRUE(logger->records().empty());
    const std::shared_ptr<ILumUtilsLoggerDelegate> native = std::make_shared<RecordingLogger>();
    expectNullArgument(createNative(&native, nullptr), u"socksHttpClientCli");
}

TEST_F(SocksFactoryTest, AManagedLoggerThatIsNullEndsInTheRuntimesOwnException)
{
    const Created created = create(nullptr, socks);
    EXPECT_EQ(created.status, kLumCliException);
    ASSERT_TRUE(created.exception);
    EXPECT_EQ(created.exception->type, "System.NullReferenceException");
}

TEST_F(SocksFactoryTest, OfTwoNullsTheClientIsReported)
{
    expectNullArgument(create(nullptr, nullptr), u"socksHttpClientCli");
}

TEST_F(SocksFactoryTest, WhatTheLoggerThrowsIsHandedOverItself)
{
    const auto thrown = exceptionOf("System.IO.IOException", u"disk full");
    logger->onLog = [&](const ManagedRecord&) { throw ManagedThrow{thrown}; };
    EXPECT_EQ(create(logger, socks).exception, thrown);
}

TEST_F(SocksFactoryTest, AConstructionThatFailsAtAnyCallKeepsNothing)
{
    constexpr int kCalls = 4;
    for (int failing = 1; failing <= kCalls; ++failing) {
        host.failCall(failing);
        const Created created = create(logger, socks);
        ASSERT_TRUE(created.exception) << "call " << failing;
        EXPECT_EQ(created.exception->type, "System.OutOfMemoryException");
        EXPECT_EQ(host.nativeHandles(), 0U);
    }
    host.failCall(kCalls + 1);
    EXPECT_EQ(create(logger, socks).status, kLumCliOk);
    EXPECT_EQ(host.callCount(), kCalls);
}

TEST_F(SocksFactoryTest, ANativeLoggerIsSharedWithTheClient)
{
    const auto recording = std::make_shared<RecordingLogger>();
    std::shared_ptr<ILumUtilsLoggerDelegate> native = recording;
    Created created = createNative(&native, socks);
    native.reset();
    EXPECT_EQ(created.status, kLumCliOk);
    EXPECT_GT(recording.use_count(), 1);
    ASSERT_EQ(recording->records().size(), 1U);
    EXPECT_EQ(recording->records()[0].message, "LumAsynchronousSocksHttpClient created for SOCKS5 proxy requests");
    created.client.reset();
    EXPECT_EQ(recording.use_count(), 1);
}

TEST_F(SocksFactoryTest, WithoutNativeLoggerAnArgumentIsNullBeforeTheClientIsLookedAt)
{
    const std::shared_ptr<ILumUtilsLoggerDelegate> empty;
    expectNullArgument(createNative(&empty, socks), u"logger");
    expectNullArgument(createNative(nullptr, nullptr), u"logger");
}

/// Throws what a test says when something is logged.
class ThrowingLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    explicit ThrowingLogger(std::function<void()> code) : throwing(std::move(code)) {}

private:
    void writeRecord(LumUtils::LumLogLevel /*level*/, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& /*message*/, unsigned int /*line*/) override
    {
        throwing();
    }

    std::function<void()> throwing;
};

class NativeFailureTest : public SocksFactoryTest {
protected:
    Created createThrowing(std::function<void()> code)
    {
        const std::shared_ptr<ILumUtilsLoggerDelegate> native = std::make_shared<ThrowingLogger>(std::move(code));
        Created created = createNative(&native, socks);
        EXPECT_EQ(native.use_count(), 1);
        return created;
    }
};

TEST_F(NativeFailureTest, ANativeExceptionBringsItsText)
{
    const Created created = createThrowing([] { throw std::runtime_error("no sink"); });
    ASSERT_TRUE(created.exception);
    EXPECT_EQ(created.exception->type, "System.Runtime.InteropServices.ExternalException");
    EXPECT_EQ(created.exception->message, u"no sink");
}

TEST_F(NativeFailureTest, LackOfMemoryIsTheRuntimesOwn)
{
    const Created created = createThrowing([] { throw std::bad_alloc(); });
    ASSERT_TRUE(created.exception);
    EXPECT_EQ(created.exception->type, "System.OutOfMemoryException");
}

TEST_F(NativeFailureTest, AnythingElseIsUnknown)
{
    const Created created = createThrowing([] { throw 5; });
    ASSERT_TRUE(created.exception);
    EXPECT_EQ(created.exception->type, "System.Runtime.InteropServices.ExternalException");
    EXPECT_EQ(created.exception->message, u"Unknown exception");
}

TEST_F(NativeFailureTest, WithoutMemoryForAnExceptionTheStatusSaysSo)
{
    host.refusesExceptions = true;
    EXPECT_EQ(createThrowing([] { throw std::runtime_error("no sink"); }).status, kLumCliNoMemory);
    EXPECT_EQ(create(logger, nullptr).status, kLumCliNoMemory);
}

TEST_F(SocksFactoryTest, ATableOfAnotherVersionIsNotUsed)
{
    LumCliHostTable other{};
    other.size = sizeof(other);
    other.version = kLumCliAbiVersion + 1;
    EXPECT_EQ(create(&other, 1, 1).status, kLumCliOtherVersion);
    other.version = kLumCliAbiVersion;
    other.size = sizeof(other) - 1;
    EXPECT_EQ(create(&other, 1, 1).status, kLumCliOtherVersion);
    EXPECT_EQ(create(nullptr, 1, 1).status, kLumCliOtherVersion);
}

TEST(LumCliVersion, IsThatOfTheHeader)
{
    EXPECT_EQ(LumCliGetAbiVersion(), kLumCliAbiVersion);
}

TEST(LumCliVersion, HasTheWidthOfAnAddress)
{
    EXPECT_EQ(LumCliGetPointerBits(), static_cast<std::int32_t>(8 * sizeof(void*)));
}

TEST(LumCliVersion, HasAText)
{
    const std::string text = LumCliGetLibraryVersion();
    EXPECT_EQ(text.find_first_not_of("0123456789."), std::string::npos);
    EXPECT_EQ(std::count(text.begin(), text.end(), '.'), 2);
}

// The managed half lays its structures out from these numbers.
TEST(LumCliLayout, IsTheNaturalOne)
{
    constexpr std::size_t kAddress = sizeof(void*);
    EXPECT_EQ(sizeof(LumCliText), 2 * kAddress);
    EXPECT_EQ(offsetof(LumCliText, length), kAddress);
    EXPECT_EQ(sizeof(LumCliHeader), 4 * kAddress);
    EXPECT_EQ(sizeof(LumCliRequest), 8 * kAddress);
    EXPECT_EQ(offsetof(LumCliRequest, headers), 6 * kAddress);
    EXPECT_EQ(offsetof(LumCliLogRecord, line), 4U);
    EXPECT_EQ(offsetof(LumCliLogRecord, file), 8U);
    EXPECT_EQ(sizeof(LumCliLogRecord), 8 + 6 * kAddress);
    EXPECT_EQ(offsetof(LumCliHostTable, duplicateHandle), 8U);
    EXPECT_EQ(sizeof(LumCliHostTable), 8 + 8 * kAddress);
}

} // namespace
