#include "platform/LumFileStream.h"
#include "posix/ForkedTest.h"
#include "posix/LittleRoom.h"
#include "posix/RefusedCall.h"
#include "support/FileCalls.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

/// Share modes, leases and renames of this system: what else is there beside the library's own opens.

namespace {

using LumPlatform::FileStream;
using LumTests::asText;
using LumTests::CallArgument;
using LumTests::Fork;
using LumTests::kReadOperation;
using LumTests::kWriteOperation;
using LumTests::openFile;
using LumTests::refusalOf;
using LumTests::refuseCall;

class FileShareTest : public LumTests::StorageTest {
protected:
    std::string native(const std::string& name) const { return folder.path() + "/" + name; }

    /// Every operation that opens the file, or takes its name away, succeeds. The file is then as before.
    bool isUsable()
    {
        const std::string moved = folder / "moved";
        const bool isWritten = files.writeFileContent(path, "plain") &&
                               asText(files.readFileContent(path)) == "plain" && files.getFileSize(path) == 5;
        return isWritten && files.renameFile(path, moved) && files.copyFile(moved, path) && files.deleteFile(moved);
    }

    bool isUsableWithLock()
    {
        return files.writeFileContentWithLock(path, "locked", error) &&
               asText(files.readFileContentWithLock(path, error)) == "locked";
    }

    LumTests::TestFolder folder;
    const std::string path = folder.add("file", "before");
};

/// While another process has a lease on a file, which it gives up some time after somebody wants to open the file.
class LeaseHolder {
public:
    explicit LeaseHolder(const std::string& path)
    {
        EXPECT_EQ(pipe2(ready, O_CLOEXEC), 0);
        process = fork();
        if (process == 0) {
            holdLease(path, ready[1]);
        }
        close(ready[1]);
        char answer = 0;
        hasLease = read(ready[0], &answer, 1) == 1 && answer == 'y';
    }
    ~LeaseHolder()
    {
        close(ready[0]);
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    LeaseHolder(const LeaseHolder&) = delete;
    LeaseHolder& operator=(const LeaseHolder&) = delete;

    bool isHolding() const { return hasLease; }

private:
    [[noreturn]] static void holdLease(const std::string& path, int ready)
    {
        sigset_t asked;
        sigemptyset(&asked);
        sigaddset(&asked, SIGIO);
        sigprocmask(SIG_BLOCK, &asked, nullptr);
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        const char answer = fcntl(file, F_SETLEASE, F_WRLCK) == 0 ? 'y' : 'n';
        if (write(ready, &answer, 1) != 1) {
            _exit(1);
        }
        int signal = 0;
        sigwait(&asked, &signal);
        usleep(200000);
        fcntl(file, F_SETLEASE, F_UNLCK);
        pause();
        _exit(0);
    }

    int ready[2] = {};
    pid_t process = -1;
    bool hasLease = false;
};

TEST_F(FileShareTest, AnOpenWaitsUntilALeaseIsGivenUp)
{
    const std::vector<std::function<bool()>> opens = {
        [&] { return asText(files.readFileContent(path)) == "before"; },
        [&] { return files.getFileSize(path) == 6; },
        [&] { return asText(files.readFileContentWithLock(path, error)) == "before"; },
        [&] { return files.writeFileContentWithLock(path, "locked", error); },
        [&] { return files.writeFileContent(path, "plain"); },
        [&] { return files.copyFile(path, folder / "copy"); },
    };
    for (std::size_t index = 0; index < opens.size(); ++index) {
        SCOPED_TRACE(index);
        const LeaseHolder holder(native("file"));
        if (!holder.isHolding()) {
            GTEST_SKIP() << "the file system has no leases";
        }
        EXPECT_TRUE(opens[index]());
    }
}

TEST_F(FileShareTest, ANameIsTakenAwayWithoutWaitingForALease)
{
    const LeaseHolder holder(native("file"));
    if (!holder.isHolding()) {
        GTEST_SKIP() << "the file system has no leases";
    }
    EXPECT_TRUE(files.renameFile(path, folder / "moved")) << "who has such a lease has the file to himself";
    EXPECT_TRUE(files.deleteFile(folder / "moved"));
}

TEST_F(FileShareTest, FilesThatAreThereAreNotOpenedToBeMade)
{
    // As the system does for files of others in directories that all share.
    Fork copy([&] {
        const CallArgument makes = {2, O_CREAT, O_CREAT};
        if (!refuseCall(SYS_openat, EACCES, makes)) {
            return 2;
        }
        const bool isDone = files.writeFileContent(path, "plain") && isUsableWithLock();
        return isDone && files.readFileContentWithLock(folder / "new", error).empty() && error ? 0 : 1;
    });
    EXPECT_EQ(copy.wait(), 0);
}

TEST_F(FileShareTest, WithoutLocksPlainOperationsGoOnAndLockedOnesFail)
{
    Fork copy([&] {
        const CallArgument sets = {1, ~0U, F_OFD_SETLK};
        if (!refuseCall(SYS_fcntl, ENOLCK, sets)) {
            return 2;
        }
        return isUsable() && refusalOf(path, kReadOperation) == ENOLCK && refusalOf(path, kWriteOperation) == ENOLCK
                   ? 0
                   : 1;
    });
    EXPECT_EQ(copy.wait(), 0);
}

TEST_F(FileShareTest, MarksArePlacedBeforeThoseOfOthersAreLookedFor)
{
    // The other order would let two in that exclude each other.
    for (const LumTests::FileMode& mode : {kReadOperation, kWriteOperation}) {
        HANDLE const holder = openFile(path, {"rw", "-"});
        ASSERT_NE(holder, INVALID_HANDLE_VALUE);
        Fork copy([&] {
            const CallArgument sets = {1, ~0U, F_OFD_SETLK};
            return refuseCall(SYS_fcntl, EIO, sets) && refusalOf(path, mode) == EIO ? 0 : 1;
        });
        EXPECT_EQ(copy.wait(), 0) << "what others have marked was looked at first";
        CloseHandle(holder);
    }
}

/// A program that knows nothing of the library, and has the file locked: with flock, which keeps opens at the gate, and
/// with a record lock of that kind.
class Foreigner {
public:
    Foreigner(const std::string& path, int recordLock) : file(open(path.c_str(), O_RDWR | O_CLOEXEC))
    {
        struct flock lock = {};
        lock.l_type = static_cast<short>(recordLock);
        lock.l_whence = SEEK_SET;
        EXPECT_EQ(fcntl(file, F_OFD_SETLK, &lock), 0);
        EXPECT_EQ(flock(file, LOCK_EX), 0);
    }
    ~Foreigner() { close(file); }
    Foreigner(const Foreigner&) = delete;
    Foreigner& operator=(const Foreigner&) = delete;

private:
    const int file;
};

TEST_F(FileShareTest, LocksOfForeignersStopNoPlainOperation)
{
    for (const int kind : {F_RDLCK, F_WRLCK}) {
        const Foreigner foreigner(native("file"), kind);
        EXPECT_EQ(asText(files.readFileContent(path)), "before");
        EXPECT_TRUE(files.writeFileContent(path, "before"));
        EXPECT_TRUE(files.renameFile(path, folder / "moved"));
        EXPECT_TRUE(files.renameFile(folder / "moved", path));
        EXPECT_EQ(refusalOf(path, kReadOperation), static_cast<DWORD>(EBUSY));
    }
    EXPECT_TRUE(files.deleteFile(path));
}

class SwappedPathTest : public FileShareTest {
protected:
    /// Runs the operation, and meanwhile puts another file into the place of the one that it waits for.
    template <typename Operation>
    bool doneWhileSwapping(Operation operation)
    {
        bool isDone = false;
        auto gate = std::make_unique<Foreigner>(native("file"), F_UNLCK);
        std::thread other([&] { isDone = operation(); });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        std::error_code hasWaited;
        std::filesystem::rename(native("file"), native("first"), hasWaited);
        EXPECT_FALSE(hasWaited) << "the operation has not waited";
        folder.add("file", "second");
        const auto held = std::make_unique<FileStream>();
        EXPECT_TRUE(held->open(path, FileStream::Mode::Read));
        gate.reset();
        other.join();
        return isDone;
    }
};

TEST_F(SwappedPathTest, AWriteGoesToTheFileThatThePathNamesAfterTheWait)
{
    EXPECT_TRUE(doneWhileSwapping([&] { return files.writeFileContentWithLock(path, "written", error); }));
    EXPECT_EQ(folder.contentOf("first"), "before");
    EXPECT_EQ(folder.contentOf("file"), "written");
}

TEST_F(SwappedPathTest, AFileThatCameInBetweenIsNotDeletedWhileItIsOpen)
{
    EXPECT_FALSE(doneWhileSwapping([&] { return files.deleteFile(path); }));
    EXPECT_EQ(folder.contentOf("first"), "before");
    EXPECT_EQ(folder.contentOf("file"), "second");
}

TEST_F(SwappedPathTest, AFileThatCameInBetweenIsNotRenamedWhileItIsOpen)
{
    EXPECT_FALSE(doneWhileSwapping([&] { return files.renameFile(path, folder / "moved"); }));
    EXPECT_EQ(folder.contentOf("file"), "second");
    EXPECT_EQ(folder.contentOf("moved"), "(none)");
}

TEST_F(FileShareTest, AnOpenWaitsForTheEndOfARenameUnderWay)
{
    // It keeps its marks until the name is gone. An open that meets them waits at the gate.
    std::atomic<bool> isOver{false};
    std::atomic<int> refused{0};
    std::thread renamer([&] {
        for (int round = 0; round < 2000; ++round) {
            files.renameFile(path, folder / "other");
            files.renameFile(folder / "other", path);
        }
        isOver = true;
    });
    while (!isOver) {
        FileStream stream;
        refused += !stream.open(path, FileStream::Mode::Read) && errno != ENOENT ? 1 : 0;
    }
    renamer.join();
    EXPECT_EQ(refused, 0) << "reading is refused by nobody";
}

TEST_F(FileShareTest, LinksAreNamesOfTheirOwn)
{
    std::filesystem::create_symlink("file", native("link"));
    FileStream reader;
    ASSERT_TRUE(reader.open(path, FileStream::Mode::Read));
    EXPECT_TRUE(files.renameFile(folder / "link", folder / "link2"));
    EXPECT_TRUE(files.deleteFile(folder / "link2"));
    std::filesystem::create_hard_link(native("file"), native("second"));
    EXPECT_FALSE(files.deleteFile(folder / "second")) << "it is the file that is open";
    EXPECT_EQ(folder.contentOf("file"), "before");
}

TEST_F(FileShareTest, WithoutPermissionToReadAFileIsStillWrittenAndDeleted)
{
    ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
    ASSERT_EQ(chmod(native("file").c_str(), 0222), 0);
    EXPECT_TRUE(LumTests::holdsInForkedUser([&] {
        return files.writeFileContent(path, "written") && files.renameFile(path, folder / "moved") &&
               files.renameFile(folder / "moved", path);
    }));
    EXPECT_EQ(folder.contentOf("file"), "written");
    HANDLE const holder = openFile(path, kWriteOperation);
    EXPECT_TRUE(LumTests::holdsInForkedUser([&] { return !files.writeFileContent(path, "lost"); }));
    EXPECT_TRUE(LumTests::holdsInForkedUser([&] { return !files.deleteFile(path); }))
        << "who may write sees the marks of others";
    CloseHandle(holder);
    ASSERT_EQ(chmod(native("file").c_str(), 0), 0);
    EXPECT_TRUE(LumTests::holdsInForkedUser([&] { return files.deleteFile(path); }));
}

TEST_F(FileShareTest, WithoutPermissionToWriteAFileIsReadBesideItsDeletersAndWriters)
{
    ASSERT_EQ(chmod(native("file").c_str(), 0444), 0);
    EXPECT_TRUE(LumTests::holdsInForkedUser([&] {
        FileStream reader;
        return reader.open(path, FileStream::Mode::Read) && asText(files.readFileContent(path)) == "before" &&
               !files.deleteFile(path);
    }));
    HANDLE const alone = openFile(path, {"rw", "-"});
    EXPECT_TRUE(LumTests::holdsInForkedUser([&] { return files.readFileContent(path).empty(); }));
    CloseHandle(alone);
}

TEST_F(FileShareTest, AFileWithoutAnEndHasNoContentUnderALock)
{
    const std::string status = "/proc/self/status";
    EXPECT_TRUE(files.readFileContentWithLock(status, error).empty());
    expectReported(1, "Error opening file '" + status + "' to acquire lock for reading.");
    if (geteuid() == 0) {
        EXPECT_EQ(refusalOf(status, kReadOperation), static_cast<DWORD>(ENOTSUP));
    }
    EXPECT_EQ(refusalOf(status, {"r", "rw"}), static_cast<DWORD>(ENOTSUP));
}

TEST_F(FileShareTest, AShortReadHasANumberOfItsOwn)
{
    const std::string shorter = "/sys/kernel/mm/transparent_hugepage/enabled";
    if (access(shorter.c_str(), R_OK | W_OK) != 0 || std::filesystem::file_size(shorter) != 4096) {
        GTEST_SKIP() << "the system has no file whose size is more than its content";
    }
    for (const int before : {0, EXDEV}) {
        errno = before;
        EXPECT_TRUE(files.readFileContentWithLock(shorter, error).empty());
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->getCode(), 5);
        const std::map<std::string, std::any> info = error->getUserInfo();
        EXPECT_EQ(std::any_cast<int>(info.at("LumErrorUnderlyingErrorCode")), ENODATA);
        EXPECT_THAT(std::any_cast<std::string>(info.at("LumErrorUnderlyingErrorDescription")),
                    testing::EndsWith(" Error: No data available"));
    }
}

/// Moves to a little file system that only a copy of this process sees; else the copy ends with 77.
class MoveTest : public FileShareTest {
protected:
    template <typename Condition>
    void expectInCopy(Condition condition)
    {
        constexpr int kNoRoom = 77;
        std::filesystem::create_directory(native("little"));
        Fork copy([&] { return !LumTests::mountLittle(native("little")) ? kNoRoom : condition() ? 0 : 1; });
        const int code = copy.wait();
        if (code == kNoRoom) {
            GTEST_SKIP() << "a process of this user may have no file system of its own";
        }
        EXPECT_EQ(code, 0);
    }
};

TEST_F(MoveTest, PermissionsAndTimesGoAlong)
{
    expectInCopy([&] {
        const std::string moved = folder / "little\\moved";
        const struct timespec times[] = {{1000, 0}, {2000, 5000}};
        chmod(native("file").c_str(), 0640);
        utimensat(AT_FDCWD, native("file").c_str(), times, 0);
        struct stat status = {};
        return files.renameFile(path, moved) && stat(native("little/moved").c_str(), &status) == 0 &&
               (status.st_mode & 07777U) == 0640 && status.st_mtim.tv_sec == 2000 && status.st_mtim.tv_nsec == 5000 &&
               status.st_uid == geteuid();
    });
}

TEST_F(MoveTest, WithoutRoomTheFileStaysAndNothingElseIsLeft)
{
    const std::string content(1000000, 'x');
    folder.add("file", content);
    expectInCopy([&] {
        return !files.renameFile(path, folder / "little\\moved") && folder.contentOf("file") == content &&
               folder.contentOf("little/moved") == "(none)";
    });
}

TEST_F(MoveTest, AFileThatCannotBeTakenAwayIsNotCopied)
{
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    expectInCopy([&] {
        chmod(native("little").c_str(), 0777);
        return LumTests::holdsInForkedUser([&] { return !files.renameFile(path, folder / "little\\moved"); }) &&
               folder.contentOf("file") == "before" && folder.contentOf("little/moved") == "(none)";
    });
}

TEST_F(MoveTest, WhatIsNoFileStays)
{
    std::filesystem::create_symlink("file", native("link"));
    ASSERT_EQ(mkfifo(native("fifo").c_str(), 0600), 0);
    expectInCopy([&] {
        return !files.renameFile(folder / "link", folder / "little\\a") &&
               !files.renameFile(folder / "fifo", folder / "little\\b") &&
               std::filesystem::is_symlink(native("link")) && std::filesystem::is_fifo(native("fifo")) &&
               std::filesystem::is_empty(native("little"));
    });
}

} // namespace
