#include "posix/ForkedTest.h"
#include "posix/LittleRoom.h"
#include "posix/SignalStorm.h"
#include "support/ChildProgram.h"
#include "support/FileMode.h"
#include "support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

/// What takes more than one process, signals or much room to see in the room for files.

namespace {

using LumTests::ChildProgram;
using LumTests::FileMode;
using LumTests::Fork;
using LumTests::kReadOperation;
using LumTests::kWriteOperation;
using LumTests::lockFile;
using LumTests::openFile;
using LumTests::ScratchFolder;
using LumTests::SignalStorm;

/// A sanitizer may hand on many signals as one.
#ifdef LUM_HAS_SANITIZER
constexpr int kLeastInterrupts = 1;
#else
constexpr int kLeastInterrupts = 20;
#endif

class FileProcessTest : public testing::Test {
protected:
    bool canOpenAlone() const
    {
        HANDLE const file = openFile(path, {"rw", "-"});
        return file != INVALID_HANDLE_VALUE && CloseHandle(file);
    }

    ScratchFolder folder;
    const std::string path = folder.file("file.bin");
    const std::string nativePath = folder.path() + "/file.bin";
};

TEST_F(FileProcessTest, ACopyOfTheProcessKeepsNothingFromOthers)
{
    HANDLE const file = openFile(path, kWriteOperation);
    ASSERT_TRUE(lockFile(file, true));
    int gate[2] = {};
    ASSERT_EQ(pipe(gate), 0);
    Fork copy([&] {
        close(gate[1]);
        char byte = 0;
        return static_cast<int>(read(gate[0], &byte, 1));
    });
    ASSERT_TRUE(CloseHandle(file));
    EXPECT_TRUE(canOpenAlone()) << "although the copy still has the descriptor";
    close(gate[1]);
    EXPECT_EQ(copy.wait(), 0);
    close(gate[0]);
}

/// From the superuser, for whom permissions say nothing, changes to a user without rights; false if it stays the
/// superuser.
bool isOrdinaryUser()
{
    constexpr uid_t kNobody = 65534;
    return geteuid() != 0 || (setresgid(kNobody, kNobody, kNobody) == 0 && setresuid(kNobody, kNobody, kNobody) == 0 &&
                              geteuid() == kNobody);
}

/// 'y' if the file could be opened by a user who may read it, as was seen, not write.
char openAsReader(const std::string& path)
{
    if (!isOrdinaryUser() || openFile(path, {"rw", "rw"}) != INVALID_HANDLE_VALUE || GetLastError() != EACCES) {
        return 'w';
    }
    return openFile(path, {"r", "-"}) == INVALID_HANDLE_VALUE ? 'n' : 'y';
}

/// A test that runs as an ordinary user has no other one. The permission to write is taken from that one then, until
/// the file is held.
TEST_F(FileProcessTest, AnotherUserWhoMayReadAFileCanKeepItFromBeingOpened)
{
    ASSERT_TRUE(CloseHandle(openFile(path, kWriteOperation)));
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(nativePath, std::filesystem::perms(0444));
    int opened[2] = {};
    int gate[2] = {};
    ASSERT_EQ(pipe(opened) + pipe(gate), 0);
    Fork other([&] {
        close(gate[1]);
        char byte = openAsReader(path);
        return write(opened[1], &byte, 1) == 1 ? static_cast<int>(read(gate[0], &byte, 1)) : 1;
    });
    char isOpen = 0;
    ASSERT_EQ(read(opened[0], &isOpen, 1), 1);
    EXPECT_EQ(isOpen, 'y') << "w: it could write as well; n: it could not read";
    std::filesystem::permissions(nativePath, std::filesystem::perms(0644));
    EXPECT_EQ(openFile(path, kReadOperation), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(EBUSY)) << "at once, not after a wait";
    close(gate[1]);
    EXPECT_EQ(other.wait(), 0);
    EXPECT_TRUE(canOpenAlone());
    for (const int descriptor : {opened[0], opened[1], gate[0]}) {
        close(descriptor);
    }
}

/// Memory that this process shares with its copies.
template <typename Content>
class Shared {
public:
    Shared()
        : content(new (mmap(nullptr, sizeof(Content), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
                      Content())
    {
    }
    ~Shared() { munmap(content, sizeof(Content)); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    Content* operator->() const { return content; }

private:
    Content* const content;
};

constexpr int kRaces = 5000;

struct Course {
    std::atomic<int> arrived{0};
    std::atomic<bool> hasWon[2][kRaces] = {};

    /// Waits until both are there for the n-th time.
    void meet(int number)
    {
        arrived.fetch_add(1);
        while (arrived.load() < 2 * number) {
            sched_yield();
        }
    }
};

void race(Course& course, int racer, const std::string& path, const FileMode& mode)
{
    for (int number = 0; number < kRaces; ++number) {
        course.meet(3 * number + 1);
        HANDLE const file = openFile(path, mode);
        course.hasWon[racer][number] = file != INVALID_HANDLE_VALUE;
        course.meet(3 * number + 2);
        if (file != INVALID_HANDLE_VALUE) {
            CloseHandle(file);
        }
        course.meet(3 * number + 3);
    }
}

class RaceTest : public FileProcessTest, public testing::WithParamInterface<FileMode> {};

TEST_P(RaceTest, ExactlyOneWins)
{
    const Shared<Course> course;
    Fork other([&] {
        race(*course.operator->(), 1, path, GetParam());
        return 0;
    });
    race(*course.operator->(), 0, path, kWriteOperation);
    ASSERT_EQ(other.wait(), 0);
    int bothWon = 0;
    int bothLost = 0;
    for (int number = 0; number < kRaces; ++number) {
        const int winners = (course->hasWon[0][number] ? 1 : 0) + (course->hasWon[1][number] ? 1 : 0);
        bothWon += winners == 2 ? 1 : 0;
        bothLost += winners == 0 ? 1 : 0;
    }
    EXPECT_EQ(bothWon, 0);
    EXPECT_EQ(bothLost, 0);
}

INSTANTIATE_TEST_SUITE_P(WriteAgainst, RaceTest, testing::Values(kWriteOperation, kReadOperation, FileMode{"rw", "-"}));

TEST_F(FileProcessTest, SignalsInterruptNoCall)
{
    ChildProgram holder(LUM_FILE_HOLDER, {"rw", "rw", "exclusive", path});
    ASSERT_EQ(holder.readLine(), "held");
    HANDLE const file = openFile(path, kReadOperation);
    // The storm strikes this thread, which waits; the other lets the holder go a little later.
    const SignalStorm storm;
    const int before = SignalStorm::signals();
    std::thread ender([&] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        holder.closeInput();
    });
    EXPECT_TRUE(lockFile(file, true));
    EXPECT_GE(SignalStorm::signals() - before, kLeastInterrupts) << "the wait was interrupted";
    ender.join();

    const std::string content(std::size_t{32} << 20U, 'x');
    std::string found(content.size(), '\0');
    DWORD count = 0;
    EXPECT_TRUE(WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &count, nullptr));
    EXPECT_EQ(count, content.size());
    EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_BEGIN), 0U);
    EXPECT_TRUE(ReadFile(file, found.data(), static_cast<DWORD>(found.size()), &count, nullptr));
    EXPECT_EQ(count, content.size());
    EXPECT_EQ(found, content);
    CloseHandle(file);
}

/// The write fails with that number after it has written what there was room for.
int writeTooMuch(const std::string& path, int error)
{
    HANDLE const file = openFile(path, kWriteOperation);
    const std::string content(1000000, 'x');
    DWORD count = 0;
    if (WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &count, nullptr)) {
        return 2;
    }
    if (GetLastError() != static_cast<DWORD>(error)) {
        return 3;
    }
    const bool hasWrittenPart = count > 0 && count <= 65536 && GetFileSize(file, nullptr) == count;
    return hasWrittenPart && CloseHandle(file) ? 0 : 4;
}

TEST_F(FileProcessTest, AWriteWithoutRoomFails)
{
    Fork small([&] {
        return LumTests::mountLittle(folder.path()) ? writeTooMuch(path, ENOSPC)
               : LumTests::limitFiles()             ? writeTooMuch(path, EFBIG)
                                                    : 1;
    });
    EXPECT_EQ(small.wait(), 0);
}

TEST_F(FileProcessTest, AWriteBeyondTheProcesssLimitFails)
{
    Fork limited([&] { return LumTests::limitFiles() ? writeTooMuch(path, EFBIG) : 1; });
    EXPECT_EQ(limited.wait(), 0);
}

} // namespace
