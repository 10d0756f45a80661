#include "posix/ForkedTest.h"
#include "posix/RefusedCall.h"
#include "support/ProcessResources.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using LumTests::asText;
using LumUtils::LumLogLevel;

/// What only files of this system do.
class FileManagerPosixTest : public LumTests::StorageTest {
protected:
    std::string addFifo(const std::string& name)
    {
        EXPECT_EQ(mkfifo((folder.path() + "/" + name).c_str(), 0600), 0);
        return folder / name;
    }

    LumTests::TestFolder folder;
};

TEST_F(FileManagerPosixTest, RenamesAndOverwritesNothingWhereTheSystemCannotDoBothInOneStep)
{
    for (const int refusal : {EINVAL, ENOSYS}) {
        const std::string from = folder.add("from", "moved");
        const std::string taken = folder.add("taken", "kept");
        const int code = LumTests::Fork([&] {
                             if (!LumTests::refuseCall(SYS_renameat2, refusal)) {
                                 return 2;
                             }
                             const bool isKept = !files.renameFile(from, taken);
                             return isKept && files.renameFile(from, folder / "to") ? 0 : 1;
                         }).wait();
        EXPECT_EQ(code, 0);
        EXPECT_EQ(folder.contentOf("taken"), "kept");
        EXPECT_EQ(folder.contentOf("to"), "moved");
        EXPECT_TRUE(files.deleteFile(folder / "to"));
    }
}

TEST_F(FileManagerPosixTest, FifoWithoutOtherEndIsNotWaitedFor)
{
    const std::string fifo = addFifo("fifo");
    EXPECT_TRUE(files.doesFileExist(fifo));
    EXPECT_TRUE(files.readFileContent(fifo).empty());
    expectError("readFileContent", "Error opening file '" + fifo + "' for reading.");
    EXPECT_FALSE(files.writeFileContent(fifo, "x"));
    expectError("writeFileContent", "Error opening file '" + fifo + "' for writing.");
    EXPECT_EQ(files.getFileSize(fifo), -1);
    expectError("getFileSize", "Failed to open file " + fifo);
    EXPECT_FALSE(files.copyFile(fifo, folder / "b"));
    expectError("copyFile", "Failed to open source file " + fifo);
    EXPECT_FALSE(files.copyFile(folder.add("a", "x"), fifo));
    expectError("copyFile", "Failed to open destination file " + fifo);
    EXPECT_TRUE(files.readFileContentWithLock(fifo, error).empty());
    expectReported(1, "Error opening file '" + fifo + "' to acquire lock for reading.");
    EXPECT_FALSE(files.writeFileContentWithLock(fifo, "x", error));
    expectReported(1, "Error opening file '" + fifo + "' to acquire lock for writing.");
}

TEST_F(FileManagerPosixTest, FifoThatIsReadTakesWhatFits)
{
    const std::string fifo = addFifo("fifo");
    const int reader = open((folder.path() + "/fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    EXPECT_TRUE(files.writeFileContent(fifo, "content"));
    expectRecord(LumLogLevel::Info, "writeFileContent", "Successfully wrote content to file " + fifo);
    char buffer[32] = {};
    EXPECT_EQ(read(reader, buffer, sizeof(buffer)), 7);
    EXPECT_FALSE(files.writeFileContent(fifo, std::string(10000000, 'x'))) << "nobody makes room";
    EXPECT_THAT(recorder->records().at(0).message,
                testing::StartsWith("Exception occurred when writing to " + fifo + ": "));
    close(reader);
}

TEST_F(FileManagerPosixTest, FileThatEndsBeforeItsSizeIsNotRead)
{
    // The file says that it is a page long, whatever it holds.
    const std::string path = "/sys/kernel/mm/transparent_hugepage/enabled";
    std::ifstream shorter(path);
    if (!shorter || std::filesystem::file_size(path) != 4096) {
        GTEST_SKIP() << "the system has no file whose size is more than its content";
    }
    EXPECT_TRUE(files.readFileContent(path).empty());
    expectError("readFileContent", "Error reading file '" + path + "'.");
}

TEST_F(FileManagerPosixTest, FileWithoutAnEndHasNoSize)
{
    const std::string path = "/proc/self/status";
    EXPECT_TRUE(files.readFileContent(path).empty()) << "half a content, or none, would look like a whole one";
    expectError("readFileContent", "Error opening file '" + path + "' for reading.");
    EXPECT_EQ(files.getFileSize(path), -1);
    expectError("getFileSize", "Failed to open file " + path);
}

TEST_F(FileManagerPosixTest, PlacesThatTakeNoFilesAreReported)
{
    EXPECT_FALSE(files.writeFileContent("/proc/none", "x"));
    expectError("writeFileContent", "Error opening file '/proc/none' for writing.");
    EXPECT_FALSE(files.deleteFile("/proc/self/status"));
    expectError("deleteFile", "Error deleting file '/proc/self/status'");
    EXPECT_FALSE(files.createDirectoriesForPath("/proc/none\\deeper"));
    EXPECT_THAT(recorder->records().at(0).message,
                testing::StartsWith("Failed to create directory at /proc/none errorCode = "));
}

/// While it lives, a process of the system's user, who may do everything, is a user who may not.
class OrdinaryUser {
public:
    OrdinaryUser() : before(geteuid())
    {
        constexpr uid_t kNobody = 65534;
        if (before == 0) {
            EXPECT_EQ(seteuid(kNobody), 0);
        }
    }
    ~OrdinaryUser() { EXPECT_EQ(seteuid(before), 0); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    const uid_t before;
};

TEST_F(FileManagerPosixTest, FileWithoutWritePermissionIsReadButNotWritten)
{
    const std::string path = folder.add("a", "x");
    ASSERT_EQ(chmod((folder.path() + "/a").c_str(), 0444), 0);
    const OrdinaryUser user;
    EXPECT_EQ(asText(files.readFileContent(path)), "x");
    EXPECT_FALSE(files.writeFileContent(path, "y"));
    expectError("writeFileContent", "Error opening file '" + path + "' for writing.");
    EXPECT_TRUE(files.readFileContentWithLock(path, error).empty());
    expectReported(1, "Error opening file '" + path + "' to acquire lock for reading.");
    EXPECT_FALSE(files.writeFileContentWithLock(path, "y", error));
    expectReported(1, "Error opening file '" + path + "' to acquire lock for writing.");
    EXPECT_EQ(folder.contentOf("a"), "x");
}

TEST_F(FileManagerPosixTest, DirectoryWithoutPermissionsKeepsWhatItHolds)
{
    std::filesystem::create_directory(folder.where() / "closed");
    const std::string path = folder.add("closed/a", "x");
    ASSERT_EQ(chmod((folder.path() + "/closed").c_str(), 0), 0);
    {
        const OrdinaryUser user;
        EXPECT_FALSE(files.doesFileExist(path));
        expectError("doesFileExist", "Access denied to file: " + path);
        EXPECT_FALSE(files.deleteFile(path));
        expectError("deleteFile", "Error deleting file '" + path + "'");
        EXPECT_FALSE(files.createDirectoriesForPath(folder / "closed\\sub"));
        expectError("createDirectoriesForPath",
                    "Failed to create directory at " + (folder / "closed\\sub") + " errorCode = 13");
        EXPECT_FALSE(files.pathExists(path));
        EXPECT_THAT(recorder->records().at(0).message,
                    testing::StartsWith("Filesystem error checking if path exists '" + path + "': "));
    }
    ASSERT_EQ(chmod((folder.path() + "/closed").c_str(), 0700), 0);
    EXPECT_EQ(folder.contentOf("closed/a"), "x");
}

TEST_F(FileManagerPosixTest, DirectoryWithoutWritePermissionTakesNoFiles)
{
    std::filesystem::create_directory(folder.where() / "kept");
    const std::string path = folder.add("kept/a", "x");
    const std::string other = folder / "kept\\b";
    ASSERT_EQ(chmod((folder.path() + "/kept/a").c_str(), 0444), 0);
    ASSERT_EQ(chmod((folder.path() + "/kept").c_str(), 0555), 0);
    {
        const OrdinaryUser user;
        EXPECT_TRUE(files.doesFileExist(path));
        EXPECT_FALSE(files.deleteFile(path));
        expectError("deleteFile", "Error deleting file '" + path + "'");
        EXPECT_FALSE(files.renameFile(path, other));
        expectError("renameFile", "Error renaming file from '" + path + "' to '" + other + "'");
        EXPECT_FALSE(files.writeFileContent(other, "x"));
        expectError("writeFileContent", "Error opening file '" + other + "' for writing.");
        EXPECT_FALSE(files.copyFile(path, other));
        expectError("copyFile", "Failed to open destination file " + other);
        EXPECT_FALSE(files.createDirectoriesToFileAtPath(other + "\\c"));
        expectError("createDirectoriesForPath", "Failed to create directory at " + other + " errorCode = 13");
        EXPECT_TRUE(files.readFileContentWithLock(other, error).empty());
        expectReported(1, "Error opening file '" + other + "' to acquire lock for reading.", "Permission denied");
        EXPECT_FALSE(files.writeFileContentWithLock(other, "x", error));
        expectReported(1, "Error opening file '" + other + "' to acquire lock for writing.", "Permission denied");
    }
    ASSERT_EQ(chmod((folder.path() + "/kept").c_str(), 0755), 0);
    EXPECT_EQ(folder.contentOf("kept/a"), "x");
    EXPECT_EQ(folder.contentOf("kept/b"), "(none)");
}

TEST_F(FileManagerPosixTest, LinkToNothingIsNoFileAndNoDirectory)
{
    std::filesystem::create_symlink("nowhere", folder.where() / "dangling");
    EXPECT_FALSE(files.doesFileExist(folder / "dangling"));
    expectError("doesFileExist", "File does not exist: " + (folder / "dangling"));
    EXPECT_TRUE(files.createDirectoriesForPath(folder / "dangling")) << "the name is taken";
    expectSilent();
}

TEST_F(FileManagerPosixTest, NoDescriptorStaysOpen)
{
    const std::size_t before = LumTests::openDescriptorCount();
    const std::string path = folder.add("a", std::string(100, 'x'));
    for (int round = 0; round < 100; ++round) {
        files.readFileContent(path);
        files.readFileContent(folder.path());
        files.writeFileContent("/dev/full", "x");
        files.copyFile(path, "/dev/full");
        files.copyFile(path, folder.path());
        files.getFileSize("/proc/self/status");
    }
    EXPECT_EQ(LumTests::openDescriptorCount(), before);
}

} // namespace
