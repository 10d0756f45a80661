#include "PlatformQuirks.h"
#include "common/storage/LumFileManager.h"
#include "common/storage/LumStorageError.h"
#include "support/ChildProgram.h"
#include "support/FileHolder.h"
#include "support/FileMode.h"
#include "support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <future>

/// The locked operations beside other processes: what they refuse and what they wait for.

namespace {

using LumTests::ChildProgram;
using LumTests::FileMode;
using LumTests::kReadOperation;
using LumTests::kWriteOperation;
using LumTests::ScratchFolder;
namespace Code = LumStorage::LumStorageErrorCode;

class LockedOperationContractTest : public testing::Test {
protected:
    /// The code of a write; 0 if it succeeds.
    int write(const std::string& newContent)
    {
        std::shared_ptr<LumUtils::ILumError> error;
        const bool isWritten = files.writeFileContentWithLock(path, newContent, error);
        EXPECT_EQ(isWritten, !error);
        return error ? error->getCode() : Code::kNone;
    }

    /// The code of a read; 0 if it succeeds.
    int read()
    {
        std::shared_ptr<LumUtils::ILumError> error;
        const std::vector<char> found = files.readFileContentWithLock(path, error);
        content.assign(found.begin(), found.end());
        return error ? error->getCode() : Code::kNone;
    }

    ScratchFolder folder;
    const std::string path = folder.file("file.bin");
    LumStorage::LumFileManager files{nullptr};
    std::string content;
};

/// A process that has the file open, and what then comes of the operations.
struct HolderRow {
    FileMode mode;
    int readCode;
    int writeCode;
};

// Only a holder that shares both can be beside a read or a write, which both read and write. A write shares reading
// only, so beside it the holder must not have the right to write.
const std::array<HolderRow, 12> kHolders = {{
    {{"r", "-"}, 1, 1},
    {{"r", "r"}, 1, 1},
    {{"r", "w"}, 1, 1},
    {{"r", "rw"}, 0, 0},
    {{"w", "-"}, 1, 1},
    {{"w", "r"}, 1, 1},
    {{"w", "w"}, 1, 1},
    {{"w", "rw"}, 0, 1},
    {{"rw", "-"}, 1, 1},
    {{"rw", "r"}, 1, 1}, // a write
    {{"rw", "w"}, 1, 1},
    {{"rw", "rw"}, 0, 1}, // a read
}};

class BesideHolderTest : public LockedOperationContractTest, public testing::WithParamInterface<HolderRow> {};

TEST_P(BesideHolderTest, OperationsSucceedOrFailWithCodeOne)
{
    const HolderRow& row = GetParam();
    ASSERT_EQ(write("before"), Code::kNone);
    ChildProgram holder(LumTests::fileHolder(), {row.mode.access, row.mode.share, "none", path});
    ASSERT_EQ(holder.readLine(), "held");
    EXPECT_EQ(read(), row.readCode);
    EXPECT_EQ(content, row.readCode == 0 ? "before" : "");
    EXPECT_EQ(write("after"), row.writeCode);
    EXPECT_EQ(holder.wait(), 0);
    EXPECT_EQ(read(), Code::kNone);
    EXPECT_EQ(content, row.writeCode == 0 ? "after" : "before") << "a refused write leaves the file as it was";
}

INSTANTIATE_TEST_SUITE_P(Modes, BesideHolderTest, testing::ValuesIn(kHolders));

TEST_F(LockedOperationContractTest, AReadFailsAtOnceWhileSomebodyHoldsAnExclusiveLock)
{
    ASSERT_EQ(write("content"), Code::kNone);
    ChildProgram holder(LumTests::fileHolder(), {"rw", "rw", "exclusive", path});
    ASSERT_EQ(holder.readLine(), "held");
    EXPECT_EQ(read(), Code::kLockFailed);
    EXPECT_EQ(holder.wait(), 0);
    EXPECT_EQ(read(), Code::kNone);
    EXPECT_EQ(content, "content");
}

TEST_F(LockedOperationContractTest, AReadBesideAWriteInProgressFailsByItsShareMode)
{
    ChildProgram writer(LumTests::fileHolder(), {kWriteOperation.access, kWriteOperation.share, "exclusive", path});
    ASSERT_EQ(writer.readLine(), "held");
    EXPECT_EQ(read(), Code::kOpenFailed);
    EXPECT_EQ(write("another"), Code::kOpenFailed);
}

TEST_F(LockedOperationContractTest, ReadsGoTogether)
{
    ASSERT_EQ(write("content"), Code::kNone);
    ChildProgram reader(LumTests::fileHolder(), {kReadOperation.access, kReadOperation.share, "shared", path});
    ASSERT_EQ(reader.readLine(), "held");
    EXPECT_EQ(read(), Code::kNone);
    EXPECT_EQ(content, "content");
    EXPECT_EQ(write("another"), Code::kOpenFailed);
}

TEST_F(LockedOperationContractTest, AWriteWaitsForTheLockOfAHolderThatSharesAll)
{
    ChildProgram holder(LumTests::fileHolder(), {"r", "rw", "shared", path});
    ASSERT_EQ(holder.readLine(), "held");
    auto code = std::async(std::launch::async, [this] { return write("content"); });
    EXPECT_EQ(code.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    EXPECT_EQ(holder.wait(), 0);
    EXPECT_EQ(code.get(), Code::kNone);
    EXPECT_EQ(read(), Code::kNone);
    EXPECT_EQ(content, "content");
}

TEST_F(LockedOperationContractTest, AKilledWriterLocksNobodyOut)
{
    ChildProgram writer(LumTests::fileHolder(), {kWriteOperation.access, kWriteOperation.share, "exclusive", path});
    ASSERT_EQ(writer.readLine(), "held");
    writer.kill();
    writer.wait();
    EXPECT_EQ(write("content"), Code::kNone);
    EXPECT_EQ(read(), Code::kNone);
}

TEST(LockedOperationSoakTest, WhatManyProcessesReadIsAlwaysWhole)
{
    ChildProgram soak(LUM_SOAK_STORAGE, {std::to_string(LumTests::Quirks::kSoakSeconds)});
    std::string output;
    for (std::string line = soak.readLine(); !line.empty(); line = soak.readLine()) {
        output += line + "\n";
    }
    EXPECT_EQ(soak.wait(), 0) << output;
    EXPECT_NE(output.find("violations  0\nlost        0\n"), std::string::npos) << output;
}

} // namespace
