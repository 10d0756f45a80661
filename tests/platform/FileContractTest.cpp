#include "PlatformQuirks.h"
#include "StorageFacts.h"
#include "platform/LumFileStream.h"
#include "support/ChildProgram.h"
#include "support/FileCalls.h"
#include "support/FileHolder.h"
#include "support/FileMode.h"
#include "support/FoldedMemory.h"
#include "support/ProcessResources.h"
#include "support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <future>
#include <thread>

/// What the library relies on in the platform's file calls. Numbers of the last error are each system's own.

namespace {

using LumTests::ChildProgram;
using LumTests::contentOf;
using LumTests::expectFailure;
using LumTests::FileMode;
using LumTests::kReadOperation;
using LumTests::kWriteOperation;
using LumTests::lockFile;
using LumTests::openFile;
using LumTests::refusalOf;
using LumTests::ScratchFolder;
using LumTests::unlockFile;
using LumTests::writeTo;
namespace StorageFacts = LumTests::StorageFacts;

/// A file that is open in this process for as long as the object lives.
class Opened {
public:
    Opened(const std::string& path, const FileMode& mode) : file(openFile(path, mode)) {}
    ~Opened()
    {
        if (isOpen()) {
            CloseHandle(file);
        }
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    bool isOpen() const { return file != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return file; }

private:
    HANDLE const file;
};

/// Another process has the file open.
class Holder {
public:
    Holder(const std::string& path, const FileMode& mode, const std::string& lock = "none")
        : program(LumTests::fileHolder(), {mode.access, mode.share, lock, path}), answer(program.readLine())
    {
    }

    bool isHolding() const { return answer == "held"; }
    bool hasDescriptorOf(const std::string& path) const { return LumTests::hasDescriptorOf(program.processId(), path); }
    void letGo() { EXPECT_EQ(program.wait(), 0); }
    void kill()
    {
        program.kill();
        program.wait();
    }

private:
    ChildProgram program;
    const std::string answer;
};

// The rules of share modes: an open succeeds if every open that is there lets it do what it wants to, and it lets them
// do what they do. Rows: who has the file open; columns: who comes; both in this order.
constexpr std::size_t kModeCount = 12;
const std::array<FileMode, kModeCount> kModes = {{
    {"r", "-"},
    {"r", "r"},
    {"r", "w"},
    {"r", "rw"},
    {"w", "-"},
    {"w", "r"},
    {"w", "w"},
    {"w", "rw"},
    {"rw", "-"},
    {"rw", "r"}, // as the write operation
    {"rw", "w"},
    {"rw", "rw"}, // as the read operation
}};
// clang-format off
constexpr std::array<const char*, kModeCount> kSucceeds = {{
    // by r     by w     by rw
    // - r w rw - r w rw - r w rw
    "----" "----" "----", // r, shares nothing
    "-y-y" "----" "----", // r, shares r
    "----" "-y-y" "----", // r, shares w
    "-y-y" "-y-y" "-y-y", // r, shares both
    "----" "----" "----", // w, shares nothing
    "--yy" "----" "----", // w, shares r
    "----" "--yy" "----", // w, shares w
    "--yy" "--yy" "--yy", // w, shares both
    "----" "----" "----", // rw, shares nothing
    "---y" "----" "----", // rw, shares r
    "----" "---y" "----", // rw, shares w
    "---y" "---y" "---y", // rw, shares both
}};
// clang-format on

/// Opens the file in every mode and compares with the table's row.
void expectRow(std::size_t row, const std::string& path)
{
    for (std::size_t column = 0; column < kModeCount; ++column) {
        const FileMode& mode = kModes[column];
        EXPECT_EQ(Opened(path, mode).isOpen(), kSucceeds[row][column] == 'y')
            << "open by " << kModes[row] << ", comes " << mode;
    }
}

class ShareModeTest : public testing::TestWithParam<std::size_t> {
protected:
    const FileMode& mode() const { return kModes[GetParam()]; }

    ScratchFolder folder;
    const std::string path = folder.file("shared.bin");
};

TEST_P(ShareModeTest, DecidesBetweenProcesses)
{
    Holder holder(path, mode());
    ASSERT_TRUE(holder.isHolding());
    expectRow(GetParam(), path);
    holder.letGo();
    EXPECT_TRUE(Opened(path, {"rw", "-"}).isOpen()) << "nothing is left of it";
}

TEST_P(ShareModeTest, DecidesWithinAProcess)
{
    const Opened first(path, mode());
    ASSERT_TRUE(first.isOpen());
    expectRow(GetParam(), path);
}

TEST_P(ShareModeTest, IsForgottenWhenTheHolderIsKilled)
{
    Holder holder(path, mode());
    ASSERT_TRUE(holder.isHolding());
    holder.kill();
    EXPECT_TRUE(Opened(path, {"rw", "-"}).isOpen());
}

TEST_P(ShareModeTest, OfARefusedOpenLeavesNothing)
{
    Holder holder(path, {"rw", "-"});
    ASSERT_TRUE(holder.isHolding());
    EXPECT_FALSE(Opened(path, mode()).isOpen());
    holder.letGo();
    EXPECT_TRUE(Opened(path, {"rw", "-"}).isOpen());
}

INSTANTIATE_TEST_SUITE_P(Modes, ShareModeTest, testing::Range(std::size_t{0}, kModeCount));

class FileContractTest : public testing::Test {
protected:
    ScratchFolder folder;
    const std::string path = folder.file("file.bin");
};

TEST_F(FileContractTest, SeveralReadOperationsAreOneAsGoodAsAnother)
{
    const Opened first(path, kReadOperation);
    const Opened second(path, kReadOperation);
    Holder third(path, kReadOperation);
    EXPECT_TRUE(first.isOpen() && second.isOpen() && third.isHolding());
    EXPECT_FALSE(Opened(path, kWriteOperation).isOpen());
}

TEST_F(FileContractTest, ClosingOneOfTwoOpensKeepsTheOthersShareMode)
{
    const Opened first(path, kReadOperation);
    EXPECT_TRUE(Opened(path, kReadOperation).isOpen());
    EXPECT_FALSE(Opened(path, kWriteOperation).isOpen());
    EXPECT_FALSE(Holder(path, kWriteOperation).isHolding());
}

TEST_F(FileContractTest, AProgramThatIsStartedHoldsNothing)
{
    const std::string read = folder.file("read.bin");
    const std::string written = folder.file("written.bin");
    ASSERT_TRUE(CloseHandle(openFile(read, kReadOperation)));
    HANDLE const file = openFile(path, kWriteOperation);
    ASSERT_TRUE(lockFile(file, true));
    LumPlatform::FileStream reader;
    ASSERT_TRUE(reader.open(read, LumPlatform::FileStream::Mode::Read));
    LumPlatform::FileStream writer;
    ASSERT_TRUE(writer.open(written, LumPlatform::FileStream::Mode::WriteBinary));
    Holder other(folder.file("another.bin"), {"rw", "rw"});
    ASSERT_TRUE(other.isHolding());
    ASSERT_TRUE(CloseHandle(file));
    EXPECT_TRUE(reader.close() && writer.close());
    for (const std::string& name : {path, read, written}) {
        EXPECT_FALSE(other.hasDescriptorOf(name)) << name;
        EXPECT_TRUE(Opened(name, {"rw", "-"}).isOpen()) << name;
    }
    other.letGo();
}

TEST_F(FileContractTest, SharedLocksGoTogether)
{
    Holder other(path, kReadOperation, "shared");
    ASSERT_TRUE(other.isHolding());
    const Opened own(path, kReadOperation);
    EXPECT_TRUE(lockFile(own.get(), false));
    EXPECT_TRUE(unlockFile(own.get()));
}

TEST_F(FileContractTest, ASharedLockFailsAtOnceWhileAnotherProcessHoldsAnExclusiveOne)
{
    Holder other(path, kReadOperation, "exclusive");
    ASSERT_TRUE(other.isHolding());
    const Opened own(path, kReadOperation);
    ASSERT_TRUE(own.isOpen()) << "a lock is no share mode";
    EXPECT_FALSE(lockFile(own.get(), false));
    other.letGo();
    EXPECT_TRUE(lockFile(own.get(), false));
}

TEST_F(FileContractTest, ALockGoesWithItsHolder)
{
    Holder other(path, kReadOperation, "exclusive");
    ASSERT_TRUE(other.isHolding());
    const Opened own(path, kReadOperation);
    other.kill();
    EXPECT_TRUE(lockFile(own.get(), false));
}

TEST_F(FileContractTest, AnExclusiveLockWaitsForASharedOne)
{
    Holder other(path, kReadOperation, "shared");
    ASSERT_TRUE(other.isHolding());
    const Opened own(path, kReadOperation);
    auto locked = std::async(std::launch::async, [&] { return lockFile(own.get(), true); });
    EXPECT_EQ(locked.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    other.letGo();
    EXPECT_TRUE(locked.get());
    EXPECT_TRUE(unlockFile(own.get()));
}

TEST_F(FileContractTest, LocksOfOneProcessExcludeEachOtherToo)
{
    const Opened first(path, kReadOperation);
    const Opened second(path, kReadOperation);
    ASSERT_TRUE(lockFile(first.get(), true));
    EXPECT_FALSE(lockFile(second.get(), false));
    ASSERT_TRUE(unlockFile(first.get()));
    EXPECT_TRUE(lockFile(second.get(), false));
}

TEST_F(FileContractTest, WhatIsNotLockedCannotBeUnlocked)
{
    const Opened own(path, kReadOperation);
    EXPECT_FALSE(unlockFile(own.get()));
}

TEST_F(FileContractTest, ClosingAFileUnlocksIt)
{
    {
        const Opened first(path, kReadOperation);
        ASSERT_TRUE(lockFile(first.get(), true));
    }
    const Opened second(path, kReadOperation);
    EXPECT_TRUE(lockFile(second.get(), false));
}

TEST_F(FileContractTest, WhatWasWrittenIsRead)
{
    const Opened file(path, kWriteOperation);
    const std::string content("line\n\0\xFF\r\n", 9);
    ASSERT_TRUE(writeTo(file.get(), content));
    EXPECT_EQ(contentOf(file.get()), content);
}

TEST_F(FileContractTest, TheFileEndsWhereItIsCutOff)
{
    const Opened file(path, kWriteOperation);
    ASSERT_TRUE(writeTo(file.get(), "a long content"));
    EXPECT_EQ(SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN), 0U);
    EXPECT_TRUE(SetEndOfFile(file.get()));
    EXPECT_EQ(GetFileSize(file.get(), nullptr), 0U);
    ASSERT_TRUE(writeTo(file.get(), "short"));
    EXPECT_EQ(contentOf(file.get()), "short");
}

TEST_F(FileContractTest, AReadBeyondTheEndIsShort)
{
    const Opened file(path, kReadOperation);
    ASSERT_TRUE(writeTo(file.get(), "abc"));
    SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN);
    char buffer[10] = {};
    DWORD count = 99;
    EXPECT_TRUE(ReadFile(file.get(), buffer, sizeof(buffer), &count, nullptr));
    EXPECT_EQ(count, 3U);
}

TEST_F(FileContractTest, OnlyWhatWasAskedForIsAllowed)
{
    DWORD count = 0;
    char buffer[1] = {};
    const Opened reader(path, {"r", "rw"});
    EXPECT_FALSE(writeTo(reader.get(), "x"));
    const Opened writer(path, {"w", "rw"});
    EXPECT_TRUE(writeTo(writer.get(), "x"));
    EXPECT_FALSE(ReadFile(writer.get(), buffer, sizeof(buffer), &count, nullptr));
}

TEST_F(FileContractTest, AnExistingFileKeepsItsContentWhenItIsOpened)
{
    {
        const Opened file(path, kWriteOperation);
        ASSERT_TRUE(writeTo(file.get(), "kept"));
    }
    const Opened file(path, kReadOperation);
    EXPECT_EQ(contentOf(file.get()), "kept");
}

TEST_F(FileContractTest, ADirectoryIsNoFile)
{
    EXPECT_EQ(refusalOf(folder.path(), kReadOperation), StorageFacts::kIsDirectory);
    EXPECT_EQ(refusalOf(folder.path(), kWriteOperation), StorageFacts::kIsDirectory);
}

TEST_F(FileContractTest, AMissingFolderIsNotMade)
{
    EXPECT_EQ(refusalOf(folder.file("missing\\file.bin"), kReadOperation), StorageFacts::kNoSuchPath);
    EXPECT_EQ(refusalOf("", kReadOperation), StorageFacts::kNoSuchPath);
}

TEST_F(FileContractTest, ShareModesAndLocksHaveNumbersOfTheirOwn)
{
    const Opened reader(path, kReadOperation);
    EXPECT_EQ(refusalOf(path, kWriteOperation), StorageFacts::kSharingViolation);
    ASSERT_TRUE(lockFile(reader.get(), true));
    const Opened second(path, kReadOperation);
    expectFailure([&] { return lockFile(second.get(), false); }, StorageFacts::kLockViolation);
}

TEST_F(FileContractTest, RefusedOpensLeakNothing)
{
    const Opened holder(path, {"rw", "-"});
    const auto openAll = [&] {
        EXPECT_EQ(refusalOf(path, kReadOperation), StorageFacts::kSharingViolation);
        EXPECT_EQ(refusalOf(folder.path(), kReadOperation), StorageFacts::kIsDirectory);
        EXPECT_EQ(refusalOf(folder.file("missing\\file.bin"), kReadOperation), StorageFacts::kNoSuchPath);
    };
    openAll();
    const std::size_t before = LumTests::openDescriptorCount();
    for (int round = 0; round < 100; ++round) {
        openAll();
    }
    EXPECT_LE(LumTests::openDescriptorCount(), before + 2);
}

TEST_F(FileContractTest, OfFilesOfFourGibibytesTheSizeIsRefusedOrTheLowerHalf)
{
    constexpr DWORD kUntouched = 1;
    const Opened file(path, kReadOperation);
    const auto sizeOf = [&](std::uintmax_t size) {
        std::filesystem::resize_file(std::filesystem::path(folder.path()) / "file.bin", size);
        SetLastError(kUntouched);
        return GetFileSize(file.get(), nullptr);
    };
    const auto expectSize = [&](std::uintmax_t size, DWORD lowerHalf) {
        if (StorageFacts::kRefusesLargeSizes) {
            expectFailure([&] { return sizeOf(size) != INVALID_FILE_SIZE; }, StorageFacts::kErrorOfNoSize);
        } else {
            EXPECT_EQ(sizeOf(size), lowerHalf);
        }
    };
    EXPECT_EQ(sizeOf(0xFFFFFFFE), 0xFFFFFFFE);
    EXPECT_EQ(sizeOf(0xFFFFFFFF), INVALID_FILE_SIZE);
    EXPECT_EQ(GetLastError(), StorageFacts::kErrorOfNoSize);
    expectSize(std::uintmax_t{1} << 32U, 0);
    expectSize((std::uintmax_t{1} << 32U) + 7, 7);
}

TEST_F(FileContractTest, WhatIsNoHandleIsRefusedByEveryCall)
{
    // Only values that are never handles: on Windows that of a closed one may be another's by now.
    HANDLE const neverAHandle = reinterpret_cast<HANDLE>(std::uintptr_t{3});
    for (HANDLE const file : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, neverAHandle}) {
        LumTests::expectNoUseOf(file, StorageFacts::kNoFileHandle);
        // On Windows that value is also this process, which may be closed.
        if (file != INVALID_HANDLE_VALUE) {
            expectFailure([&] { return CloseHandle(file); }, StorageFacts::kNoFileHandle);
        }
    }
}

#ifdef LUM_HAS_SANITIZER
/// A sanitizer keeps books of all memory that a call fills.
constexpr std::size_t kLarge = std::size_t{64} << 20U;
#else
/// More than one call of Linux moves, where a process has as many addresses.
constexpr std::size_t kLarge =
    sizeof(void*) == 4 ? std::size_t{256} << 20U : (std::size_t{2} << 30U) + LumTests::FoldedMemory::kFold;
#endif

TEST_F(FileContractTest, OneCallWritesAndReadsALargeFileWhole)
{
    const bool hasRoom = std::filesystem::space(folder.path()).available > 2 * std::uintmax_t{kLarge};
    const LumTests::FoldedMemory memory(kLarge);
    const std::string content = "what stands at the begin of each fold";
    content.copy(memory.data(), content.size());
    const Opened file(path, kReadOperation);
    DWORD count = 0;
    const BOOL isWritten = WriteFile(file.get(), memory.data(), static_cast<DWORD>(kLarge), &count, nullptr);
    const DWORD error = GetLastError();
    EXPECT_EQ(GetFileSize(file.get(), nullptr), count);
    if (!isWritten || count < kLarge) {
        EXPECT_TRUE(isWritten ? LumTests::Quirks::kSucceedsWithoutRoomForAll : error == StorageFacts::kNoRoom) << error;
        ASSERT_FALSE(hasRoom);
        GTEST_SKIP() << "the file system has no room for it";
    }
    EXPECT_EQ(count, kLarge);
    std::fill_n(memory.data(), content.size(), '\0');
    EXPECT_EQ(SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN), 0U);
    EXPECT_TRUE(ReadFile(file.get(), memory.data(), static_cast<DWORD>(kLarge), &count, nullptr));
    EXPECT_EQ(count, kLarge);
    EXPECT_EQ(std::string(memory.data(), content.size()), content);
}

/// Two opens at the same time, again and again.
class RacingOpens {
public:
    explicit RacingOpens(const std::string& newPath) : path(newPath) {}

    void run(const FileMode& mode)
    {
        for (std::atomic<int>& count : winners) {
            meet();
            HANDLE const file = openFile(path, mode);
            count += file != INVALID_HANDLE_VALUE ? 1 : 0;
            meet();
            if (file != INVALID_HANDLE_VALUE) {
                CloseHandle(file);
            }
        }
    }

    std::ptrdiff_t racesWithWinners(int count) const { return std::count(winners.begin(), winners.end(), count); }

private:
    /// Waits until both are there as often.
    void meet()
    {
        for (const int both = (arrived.fetch_add(1) / 2 + 1) * 2; arrived.load() < both;) {
            std::this_thread::yield();
        }
    }

    const std::string path;
    std::atomic<int> arrived{0};
    std::array<std::atomic<int>, 2000> winners = {};
};

class RaceContractTest : public FileContractTest, public testing::WithParamInterface<FileMode> {};

TEST_P(RaceContractTest, ExactlyOneWins)
{
    RacingOpens race(path);
    std::thread other([&] { race.run(GetParam()); });
    race.run(kWriteOperation);
    other.join();
    EXPECT_EQ(race.racesWithWinners(2), 0);
    EXPECT_EQ(race.racesWithWinners(0), 0);
}

INSTANTIATE_TEST_SUITE_P(WriteAgainst, RaceContractTest,
                         testing::Values(kWriteOperation, kReadOperation, FileMode{"rw", "-"}));

TEST_F(FileContractTest, PathsThatNoSystemTakesAreRefused)
{
    EXPECT_FALSE(Opened(folder.file(std::string(256, 'x')), kReadOperation).isOpen());
    EXPECT_FALSE(Opened(folder.file(std::string(5000, 'x')), kReadOperation).isOpen());
    EXPECT_FALSE(Opened(folder.file(std::string(70000, 'x')), kReadOperation).isOpen());
}

TEST_F(FileContractTest, BothSeparatorsNameTheSameFile)
{
    {
        const Opened file(folder.path() + "\\both.bin", kWriteOperation);
        ASSERT_TRUE(writeTo(file.get(), "one file"));
    }
    const Opened file(folder.path() + "/both.bin", kReadOperation);
    EXPECT_EQ(contentOf(file.get()), "one file");
}

TEST_F(FileContractTest, ByteAboveAsciiNamesAFileOfItsOwn)
{
    const std::string wide = folder.file("caf\xE9.bin");
    const std::string other = folder.file("caf\xE8.bin");
    {
        const Opened file(wide, kWriteOperation);
        ASSERT_TRUE(file.isOpen());
        ASSERT_TRUE(writeTo(file.get(), "e9"));
    }
    const Opened same(wide, kReadOperation);
    const Opened another(other, kReadOperation);
    EXPECT_EQ(contentOf(same.get()), "e9");
    EXPECT_EQ(contentOf(another.get()), "");
}

TEST_F(FileContractTest, EachByteAboveAsciiNamesAnotherFile)
{
    for (int byte = 0x80; byte <= 0xFF; ++byte) {
        EXPECT_TRUE(Opened(folder.file("b" + std::string(1, static_cast<char>(byte))), kReadOperation).isOpen())
            << byte;
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 128);
}

TEST(TemporaryPathTest, EndsInABackslash)
{
    char buffer[260] = {};
    const DWORD length = GetTempPathA(sizeof(buffer), buffer);
    ASSERT_GT(length, 0U);
    ASSERT_LT(length, sizeof(buffer));
    EXPECT_EQ(std::string(buffer).size(), length);
    EXPECT_EQ(buffer[length - 1], '\\');
    EXPECT_EQ(GetTempPathA(length, buffer), length + 1) << "without room for the end it says what it needs";
}

} // namespace
