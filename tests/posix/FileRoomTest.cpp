#include "platform/posix/files/ShareGate.h"
#include "posix/ForkedTest.h"
#include "support/ChildProgram.h"
#include "support/FileCalls.h"
#include "support/FileMode.h"
#include "support/ProcessResources.h"
#include "support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <optional>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

/// What the room for files refuses, with which number, and what it leaves.

namespace {

using LumTests::ChildProgram;
using LumTests::expectFailure;
using LumTests::FileMode;
using LumTests::kReadOperation;
using LumTests::kWriteOperation;
using LumTests::lockFile;
using LumTests::openFile;
using LumTests::refusalOf;
using LumTests::ScratchFolder;
using LumTests::widened;

class FileRoomTest : public testing::Test {
protected:
    /// For the system's own calls.
    std::string native(const std::string& name) const { return folder.path() + "/" + name; }

    ScratchFolder folder;
    const std::string path = folder.file("file.bin");
    const std::string nativePath = native("file.bin");
};

TEST_F(FileRoomTest, WhatIsNoRegularFileIsRefusedAtOnce)
{
    ASSERT_EQ(mkfifo(native("fifo").c_str(), 0600), 0);
    for (const FileMode& mode : {FileMode{"r", "rw"}, FileMode{"w", "rw"}, kReadOperation, kWriteOperation}) {
        EXPECT_EQ(refusalOf(folder.file("fifo"), mode), static_cast<DWORD>(ENOTSUP));
        EXPECT_EQ(refusalOf("\\dev\\full", mode), static_cast<DWORD>(ENOTSUP));
        EXPECT_EQ(refusalOf("/dev/null", mode), static_cast<DWORD>(ENOTSUP));
        EXPECT_EQ(refusalOf(folder.path(), mode), static_cast<DWORD>(EISDIR));
    }
}

TEST_F(FileRoomTest, ASocketIsRefused)
{
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    native("socket").copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(refusalOf(folder.file("socket"), kReadOperation), static_cast<DWORD>(ENXIO));
    close(descriptor);
}

TEST_F(FileRoomTest, PathsFailWithTheSystemsNumbers)
{
    std::filesystem::create_symlink("loop", native("loop"));
    std::filesystem::create_symlink("target", native("link"));
    EXPECT_EQ(refusalOf("", kReadOperation), static_cast<DWORD>(ENOENT));
    EXPECT_EQ(refusalOf(folder.file("missing\\file"), kReadOperation), static_cast<DWORD>(ENOENT));
    EXPECT_EQ(refusalOf(folder.file(std::string(256, 'x')), kReadOperation), static_cast<DWORD>(ENAMETOOLONG));
    EXPECT_EQ(refusalOf(folder.file(std::string(5000, 'x')), kReadOperation), static_cast<DWORD>(ENAMETOOLONG));
    EXPECT_EQ(refusalOf(folder.file(std::string(50000, 'x')), kReadOperation), static_cast<DWORD>(ENAMETOOLONG));
    EXPECT_EQ(refusalOf(folder.file("loop"), kReadOperation), static_cast<DWORD>(ELOOP));
    EXPECT_EQ(refusalOf(folder.file("link"), kReadOperation), 0U) << "the file that the link names is made";
    EXPECT_TRUE(std::filesystem::exists(native("target")));
    EXPECT_EQ(refusalOf(path + "\nline", kReadOperation), 0U) << "a line break is a character like others";
}

TEST_F(FileRoomTest, WithoutPermissionNothingIsOpened)
{
    std::filesystem::create_directory(native("closed"));
    chmod(native("closed").c_str(), 0555);
    close(open(nativePath.c_str(), O_CREAT | O_WRONLY, 0444));
    EXPECT_TRUE(LumTests::holdsInForkedUser([&] {
        return refusalOf(path, kReadOperation) == EACCES && refusalOf(path, kWriteOperation) == EACCES &&
               refusalOf(path, {"r", "rw"}) == 0 && refusalOf(folder.file("closed\\new"), kReadOperation) == EACCES;
    }));
}

TEST_F(FileRoomTest, RefusedDevicesLeakNothing)
{
    const std::size_t before = LumTests::openDescriptorCount();
    for (int round = 0; round < 100; ++round) {
        EXPECT_EQ(refusalOf("/dev/null", kReadOperation), static_cast<DWORD>(ENOTSUP));
    }
    EXPECT_EQ(LumTests::openDescriptorCount(), before);
}

TEST_F(FileRoomTest, WithoutDescriptorsAnOpenFails)
{
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const int next = dup(0);
    close(next);
    const rlimit low = {static_cast<rlim_t>(next), limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    const DWORD error = refusalOf(path, kReadOperation);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(error, static_cast<DWORD>(EMFILE));
    EXPECT_EQ(refusalOf(path, kReadOperation), 0U);
}

TEST_F(FileRoomTest, AClosedHandleStaysNoneWhenItsPlaceIsUsedAgain)
{
    HANDLE const closed = openFile(path, kReadOperation);
    ASSERT_TRUE(CloseHandle(closed));
    // The next handle has the same place in the table, and another value.
    HANDLE const other = openFile(folder.file("other.bin"), kReadOperation);
    ASSERT_TRUE(LumTests::writeTo(other, "kept"));
    LumTests::expectNoUseOf(closed, EBADF);
    expectFailure([&] { return CloseHandle(closed); }, EBADF);
    EXPECT_EQ(LumTests::contentOf(other), "kept");
    EXPECT_TRUE(CloseHandle(other));
}

TEST_F(FileRoomTest, TheValueOfFailedOpensIsNoHandle)
{
    expectFailure([&] { return CloseHandle(INVALID_HANDLE_VALUE); }, EBADF);
}

TEST_F(FileRoomTest, HandlesOfOneKindAreNoneOfAnother)
{
    HANDLE const file = openFile(path, kReadOperation);
    HINTERNET const session = WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, WINHTTP_NO_PROXY_NAME,
                                          WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC);
    ASSERT_NE(session, nullptr);
    expectFailure([&] { return CloseHandle(session); }, EBADF);
    expectFailure([&] { return WinHttpCloseHandle(file); }, ERROR_INVALID_HANDLE);
    EXPECT_TRUE(WinHttpCloseHandle(session));
    EXPECT_TRUE(CloseHandle(file));
}

TEST_F(FileRoomTest, WhatIsNotListedIsRefused)
{
    const auto name = widened(path);
    const auto opens = [](const WCHAR* text, DWORD access, DWORD share, DWORD disposition, DWORD attributes) {
        return CreateFileW(text, access, share, nullptr, disposition, attributes, nullptr) != INVALID_HANDLE_VALUE;
    };
    constexpr DWORD kNormal = FILE_ATTRIBUTE_NORMAL;
    expectFailure([&] { return opens(nullptr, GENERIC_READ, 0, OPEN_ALWAYS, kNormal); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return opens(name.c_str(), 0, 0, OPEN_ALWAYS, kNormal); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return opens(name.c_str(), 0x10000000, 0, OPEN_ALWAYS, kNormal); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return opens(name.c_str(), GENERIC_READ, 4, OPEN_ALWAYS, kNormal); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return opens(name.c_str(), GENERIC_READ, 0, 3, kNormal); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return opens(name.c_str(), GENERIC_READ, 0, OPEN_ALWAYS, 0); }, ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(std::filesystem::exists(nativePath)) << "and nothing is made";
}

TEST_F(FileRoomTest, LocksAreTakenOnTheWholeRangeAndOnce)
{
    HANDLE const file = openFile(path, kReadOperation);
    constexpr DWORD kAll = 0xFFFFFFFF;
    OVERLAPPED start = {};
    OVERLAPPED elsewhere = {1, 0};
    expectFailure([&] { return LockFileEx(file, 0, 0, kAll, kAll, &start); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return LockFileEx(file, 3, 0, kAll, kAll, &start); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return LockFileEx(file, 1, 1, kAll, kAll, &start); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return LockFileEx(file, 1, 0, 100, 0, &start); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return LockFileEx(file, 1, 0, kAll, kAll, &elsewhere); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return LockFileEx(file, 1, 0, kAll, kAll, nullptr); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return UnlockFileEx(file, 0, 100, 0, &start); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return LumTests::unlockFile(file); }, EINVAL);
    EXPECT_TRUE(lockFile(file, false));
    expectFailure([&] { return lockFile(file, true); }, EINVAL);
    EXPECT_TRUE(LumTests::unlockFile(file));
    EXPECT_TRUE(CloseHandle(file));
}

TEST_F(FileRoomTest, OtherMovesAndMissingCountsAreRefused)
{
    HANDLE const file = openFile(path, kReadOperation);
    char buffer[1] = {};
    expectFailure([&] { return SetFilePointer(file, 1, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER; },
                  ERROR_INVALID_PARAMETER);
    expectFailure([&] { return SetFilePointer(file, 0, nullptr, 2) != INVALID_SET_FILE_POINTER; },
                  ERROR_INVALID_PARAMETER);
    expectFailure([&] { return ReadFile(file, buffer, 1, nullptr, nullptr); }, ERROR_INVALID_PARAMETER);
    expectFailure([&] { return WriteFile(file, buffer, 1, nullptr, nullptr); }, ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(CloseHandle(file));
}

TEST_F(FileRoomTest, APathIsUtf16AndItsFileHasTheUtf8Name)
{
    EXPECT_EQ(refusalOf(folder.file("caf\xE9"), kReadOperation), 0U);
    EXPECT_TRUE(std::filesystem::exists(native("caf\xEF\xBF\xA9"))) << "U+FFE9, the byte with its sign";
    EXPECT_FALSE(std::filesystem::exists(native("caf\xE9")));
    const std::u16string unpaired = u"\xD800";
    expectFailure(
        [&] {
            return CreateFileW(unpaired.c_str(), GENERIC_READ, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                               nullptr) != INVALID_HANDLE_VALUE;
        },
        EILSEQ);
}

TEST_F(FileRoomTest, AForeignWholeFileLockRefusesTheOpen)
{
    const int foreign = open(nativePath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    ASSERT_EQ(fcntl(foreign, F_OFD_SETLK, &lock), 0);
    EXPECT_EQ(refusalOf(path, kReadOperation), static_cast<DWORD>(EBUSY));
    close(foreign);
    EXPECT_EQ(refusalOf(path, kReadOperation), 0U);
}

TEST_F(FileRoomTest, ShareModesHoldWithoutTheGateToo)
{
    const int foreign = open(nativePath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(foreign, LOCK_EX), 0) << "whoever holds this holds the gate";
    HANDLE const file = openFile(path, kWriteOperation);
    EXPECT_NE(file, INVALID_HANDLE_VALUE) << "an open does not wait for long";
    EXPECT_EQ(refusalOf(path, kReadOperation), static_cast<DWORD>(EBUSY));
    CloseHandle(file);
    close(foreign);
}

TEST(GateTest, NetworkFileSystemsHaveNone)
{
    using LumPlatform::ShareGate;
    EXPECT_TRUE(ShareGate::IsOn(EXT4_SUPER_MAGIC));
    EXPECT_TRUE(ShareGate::IsOn(TMPFS_MAGIC));
    EXPECT_TRUE(ShareGate::IsOn(BTRFS_SUPER_MAGIC));
    EXPECT_FALSE(ShareGate::IsOn(NFS_SUPER_MAGIC));
    EXPECT_FALSE(ShareGate::IsOn(SMB_SUPER_MAGIC));
    EXPECT_FALSE(ShareGate::IsOn(0xFF534D42)) << "cifs";
    EXPECT_FALSE(ShareGate::IsOn(0xFE534D42)) << "smb2";
}

/// The temporary path while TMPDIR has a value, or is not set.
struct TemporaryPath {
    explicit TemporaryPath(const char* variable, DWORD size = 260)
    {
        const char* const before = std::getenv("TMPDIR");
        const std::optional<std::string> kept = before == nullptr ? std::nullopt : std::optional<std::string>(before);
        variable == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", variable, 1);
        errno = 0;
        length = GetTempPathA(size, buffer);
        error = GetLastError();
        kept ? setenv("TMPDIR", kept->c_str(), 1) : unsetenv("TMPDIR");
    }

    char buffer[300] = {};
    DWORD length = 0;
    DWORD error = 0;
};

TEST(TemporaryPathRoomTest, IsTheEnvironmentsOrTheUsualOne)
{
    struct Row {
        const char* variable;
        const char* path;
    };
    constexpr Row kRows[] = {
        {nullptr, "/tmp\\"}, {"", "/tmp\\"}, {"/var/tmp", "/var/tmp\\"}, {"/var/tmp/", "/var/tmp\\"}, {"/a//", "/a\\"},
        {"/a\\", "/a\\"},    {"/", "\\"},    {"relative", "relative\\"},
    };
    for (const Row& row : kRows) {
        const TemporaryPath path(row.variable);
        EXPECT_STREQ(path.buffer, row.path);
        EXPECT_EQ(path.length, std::string(row.path).size());
    }
}

TEST(TemporaryPathRoomTest, APathWithoutRoomSaysWhatItNeeds)
{
    const std::string longest = "/" + std::string(257, 'x');
    EXPECT_EQ(TemporaryPath(longest.c_str()).length, 259U);
    const TemporaryPath tooLong((longest + "x").c_str());
    EXPECT_EQ(tooLong.length, 261U);
    EXPECT_EQ(tooLong.error, static_cast<DWORD>(ENAMETOOLONG));
    EXPECT_STREQ(tooLong.buffer, "");
    expectFailure([] { return GetTempPathA(260, nullptr) != 0; }, ERROR_INVALID_PARAMETER);
}

} // namespace
