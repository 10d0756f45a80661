#include "StorageFacts.h"
#include "common/storage/LumFileManager.h"
#include "platform/LumFileStream.h"
#include "platform/LumRuntime.h"
#include "support/ChildProgram.h"
#include "support/FileHolder.h"
#include "support/FileMode.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>

/// The operations without a lock beside opens of others, and what renaming does at its edges.

namespace {

using LumPlatform::FileStream;
using LumTests::ChildProgram;
using LumTests::FileMode;
using LumTests::kReadOperation;
using LumTests::kWriteOperation;
using LumTests::TestFolder;
namespace StorageFacts = LumTests::StorageFacts;

class PlainOperationContractTest : public testing::Test {
protected:
    std::string read(const std::string& from)
    {
        const std::vector<char> content = files.readFileContent(from);
        return {content.begin(), content.end()};
    }

    bool writeWithLock(const std::string& content)
    {
        std::shared_ptr<LumUtils::ILumError> error;
        return files.writeFileContentWithLock(path, content, error);
    }

    bool readsWithLock()
    {
        std::shared_ptr<LumUtils::ILumError> error;
        files.readFileContentWithLock(path, error);
        return !error;
    }

    /// Somebody has the file open, so it keeps its name.
    void expectNameIsKept()
    {
        EXPECT_FALSE(files.renameFile(path, other));
        EXPECT_FALSE(files.renameFile(path, path));
        EXPECT_FALSE(files.deleteFile(path));
        EXPECT_TRUE(files.doesFileExist(path));
        EXPECT_FALSE(files.doesFileExist(other));
        errno = 0;
        EXPECT_EQ(LumPlatform::Remove(path), -1);
        EXPECT_EQ(errno, EACCES);
        errno = 0;
        EXPECT_EQ(LumPlatform::Rename(path, other), -1);
        EXPECT_EQ(errno, EACCES);
    }

    /// Nobody has it open any more.
    void expectNameIsFree()
    {
        EXPECT_TRUE(files.renameFile(path, other));
        EXPECT_TRUE(files.deleteFile(other));
    }

    TestFolder folder;
    const std::string path = folder.add("file.bin", "before");
    const std::string other = folder / "other.bin";
    LumStorage::LumFileManager files{nullptr};
};

/// A process that has the file open, and whether it lets others read and write. Nobody lets them take the name away.
struct HolderRow {
    FileMode mode;
    bool isRead;
    bool isWritten;
};

const std::array<HolderRow, 12> kHolders = {{
    {{"r", "-"}, false, false},
    {{"r", "r"}, true, false},
    {{"r", "w"}, false, true},
    {{"r", "rw"}, true, true},
    {{"w", "-"}, false, false},
    {{"w", "r"}, true, false},
    {{"w", "w"}, false, true},
    {{"w", "rw"}, true, true},
    {{"rw", "-"}, false, false},
    {{"rw", "r"}, true, false}, // a locked write
    {{"rw", "w"}, false, true},
    {{"rw", "rw"}, true, true}, // a locked read
}};

class PlainBesideHolderTest : public PlainOperationContractTest, public testing::WithParamInterface<HolderRow> {};

TEST_P(PlainBesideHolderTest, OperationsHeedTheShareMode)
{
    const HolderRow& row = GetParam();
    ChildProgram holder(LumTests::fileHolder(), {row.mode.access, row.mode.share, "none", path});
    ASSERT_EQ(holder.readLine(), "held");
    EXPECT_EQ(read(path), row.isRead ? "before" : "");
    EXPECT_EQ(files.getFileSize(path), row.isRead ? 6 : -1);
    EXPECT_EQ(files.copyFile(path, other), row.isRead);
    std::filesystem::remove(folder.where() / "other.bin");
    expectNameIsKept();
    EXPECT_EQ(files.writeFileContent(path, "after"), row.isWritten);
    EXPECT_EQ(files.copyFile(folder.add("source", "copied"), path), row.isWritten);
    EXPECT_EQ(holder.wait(), 0);
    EXPECT_EQ(read(path), row.isWritten ? "copied" : "before") << "what is refused leaves the file as it was";
    expectNameIsFree();
}

INSTANTIATE_TEST_SUITE_P(Modes, PlainBesideHolderTest, testing::ValuesIn(kHolders));

TEST_F(PlainOperationContractTest, WhoReadsSharesReadingAndWritingAndKeepsTheName)
{
    FileStream reader;
    ASSERT_TRUE(reader.open(path, FileStream::Mode::Read));
    expectNameIsKept();
    EXPECT_EQ(read(path), "before");
    EXPECT_TRUE(readsWithLock());
    EXPECT_TRUE(files.writeFileContent(path, "plain"));
    EXPECT_TRUE(writeWithLock("locked"));
    EXPECT_EQ(LumTests::openFile(path, {"r", "w"}), INVALID_HANDLE_VALUE) << "which denies reading";
    EXPECT_TRUE(reader.close());
    expectNameIsFree();
}

TEST_F(PlainOperationContractTest, WhoWritesSharesReadingAndWritingAndKeepsTheName)
{
    FileStream writer;
    ASSERT_TRUE(writer.open(path, FileStream::Mode::WriteBinary));
    ASSERT_TRUE(writer.write("plain", 5));
    expectNameIsKept();
    EXPECT_EQ(read(path), "plain");
    EXPECT_TRUE(readsWithLock());
    EXPECT_FALSE(writeWithLock("locked")) << "which denies writing";
    EXPECT_TRUE(files.writeFileContent(path, "again"));
    EXPECT_TRUE(writer.close());
    EXPECT_TRUE(writeWithLock("locked"));
    expectNameIsFree();
}

TEST_F(PlainOperationContractTest, WhatAWriteWithLockHoldsIsNotLostToOthers)
{
    HANDLE const first = LumTests::openFile(path, kWriteOperation);
    ASSERT_NE(first, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(LumTests::lockFile(first, true));
    expectNameIsKept();
    EXPECT_FALSE(files.writeFileContent(path, "lost")) << "nor is it emptied";
    EXPECT_FALSE(writeWithLock("lost"));
    EXPECT_EQ(folder.contentOf("file.bin"), "before");
    EXPECT_TRUE(CloseHandle(first));
    expectNameIsFree();
}

TEST_F(PlainOperationContractTest, ARefusedOpenLeavesNothing)
{
    HANDLE const holder = LumTests::openFile(path, {"r", "r"});
    ASSERT_NE(holder, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(files.writeFileContent(path, "x"));
    EXPECT_FALSE(files.deleteFile(path));
    EXPECT_TRUE(CloseHandle(holder));
    HANDLE const alone = LumTests::openFile(path, {"rw", "-"});
    EXPECT_NE(alone, INVALID_HANDLE_VALUE);
    CloseHandle(alone);
}

TEST_F(PlainOperationContractTest, ANameThatIsTakenByAnOpenFileStaysTaken)
{
    folder.add("other.bin", "kept");
    FileStream reader;
    ASSERT_TRUE(reader.open(other, FileStream::Mode::Read));
    EXPECT_FALSE(files.renameFile(path, other));
    EXPECT_EQ(folder.contentOf("other.bin"), "kept");
    EXPECT_EQ(folder.contentOf("file.bin"), "before");
}

class RenameContractTest : public PlainOperationContractTest {
protected:
    std::string directory(const std::string& name) const
    {
        std::filesystem::create_directory(folder.where() / name);
        return folder / name;
    }
};

TEST_F(RenameContractTest, ANameForItselfIsASuccessThatChangesNothing)
{
    EXPECT_TRUE(files.renameFile(path, path));
    EXPECT_EQ(folder.contentOf("file.bin"), "before");
    const std::string sub = directory("sub");
    EXPECT_TRUE(files.renameFile(sub, sub));
    EXPECT_TRUE(files.renameFile(path, folder / "sub\\..\\file.bin")) << "another text for the same name";
    EXPECT_EQ(folder.contentOf("file.bin"), "before");
    EXPECT_TRUE(std::filesystem::is_directory(folder.where() / "sub"));
    EXPECT_FALSE(files.renameFile(other, other)) << "nothing has that name";
}

TEST_F(RenameContractTest, AnotherNameOfTheSameFileIsASuccessThatChangesNothing)
{
    std::filesystem::create_hard_link(folder.where() / "file.bin", folder.where() / "other.bin");
    EXPECT_TRUE(files.renameFile(path, other));
    EXPECT_EQ(folder.contentOf("file.bin"), "before");
    EXPECT_EQ(folder.contentOf("other.bin"), "before");
}

/// A folder on another file system than that of the tests' folders.
class OtherFileSystem {
public:
    explicit OtherFileSystem(const TestFolder& folder)
        : name(std::string(StorageFacts::kOtherFileSystem) + folder.where().filename().string())
    {
        std::filesystem::create_directory(where());
    }
    ~OtherFileSystem()
    {
        std::error_code error;
        std::filesystem::remove_all(where(), error);
    }
    OtherFileSystem(const OtherFileSystem&) = delete;
    OtherFileSystem& operator=(const OtherFileSystem&) = delete;

    std::string operator/(const std::string& file) const { return name + "\\" + file; }

private:
    std::filesystem::path where() const { return LumPlatform::StreamPath(name); }

    const std::string name;
};

TEST_F(RenameContractTest, AFileIsMovedToAnotherFileSystem)
{
    const OtherFileSystem there(folder);
    const std::string content(3000000, 'x');
    folder.add("file.bin", content);
    EXPECT_TRUE(files.renameFile(path, there / "moved.bin"));
    EXPECT_FALSE(files.doesFileExist(path));
    EXPECT_EQ(read(there / "moved.bin"), content);
    EXPECT_TRUE(files.renameFile(there / "moved.bin", path));
    EXPECT_FALSE(files.doesFileExist(there / "moved.bin"));
    EXPECT_EQ(read(path), content);
}

TEST_F(RenameContractTest, ToAnotherFileSystemNothingIsOverwrittenAndNoDirectoryGoes)
{
    const OtherFileSystem there(folder);
    ASSERT_TRUE(files.writeFileContent(there / "taken.bin", "taken"));
    EXPECT_FALSE(files.renameFile(path, there / "taken.bin"));
    EXPECT_EQ(read(there / "taken.bin"), "taken");
    EXPECT_FALSE(files.renameFile(path, there / "missing\\moved.bin"));
    EXPECT_EQ(read(path), "before");
    EXPECT_FALSE(files.renameFile(directory("sub"), there / "sub"));
    EXPECT_TRUE(std::filesystem::is_directory(folder.where() / "sub"));
    EXPECT_FALSE(files.doesFileExist(there / "sub"));
    FileStream reader;
    ASSERT_TRUE(reader.open(path, FileStream::Mode::Read));
    EXPECT_FALSE(files.renameFile(path, there / "moved.bin")) << "somebody has it open";
    EXPECT_FALSE(files.doesFileExist(there / "moved.bin"));
}

} // namespace
