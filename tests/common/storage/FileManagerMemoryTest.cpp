#include "support/AllocationLimit.h"
#include "support/ProcessResources.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"

#include <filesystem>

/// Whichever of its allocations fails, an operation ends with a result that is true, and what it opened is closed.

namespace {

using LumTests::asText;

/// Runs the operation without memory for its first allocation, then for its second and so on, until it needs no more;
/// after each run `check` looks at what became of it.
template <typename Operation, typename Check>
void withEachAllocationFailing(Operation operation, Check check)
{
    constexpr int kMost = 1000;
    bool hasFailed = true;
    for (int succeeding = 0; hasFailed && succeeding < kMost; ++succeeding) {
        SCOPED_TRACE("after " + std::to_string(succeeding) + " allocations");
        {
            const LumTests::FailingAllocation failing(succeeding);
            EXPECT_NO_THROW(operation());
            hasFailed = LumTests::FailingAllocation::HasFailed();
        }
        check();
    }
    EXPECT_FALSE(hasFailed) << "the operation needs no more than so many allocations";
}

// Longer than what a string holds without an allocation.
constexpr const char* kFile = "a-file-whose-name-takes-an-allocation";
constexpr const char* kOther = "another-file-whose-name-takes-an-allocation";

class FileManagerMemoryTest : public LumTests::StorageTest {
protected:
    LumTests::TestFolder folder;
    const std::string path = folder.add(kFile, "content");
    const std::string other = folder / kOther;
    const std::string none = folder / ("none\\" + std::string(kFile));
    bool isDone = false;
};

TEST_F(FileManagerMemoryTest, FilesAreReadWholeOrNotAtAll)
{
    std::string content;
    withEachAllocationFailing([&] { content = asText(files.readFileContent(path)); },
                              [&] { EXPECT_TRUE(content == "content" || content.empty()) << content; });
    EXPECT_EQ(content, "content");
    std::int64_t size = 0;
    withEachAllocationFailing([&] { size = files.getFileSize(path); },
                              [&] { EXPECT_TRUE(size == 7 || size == -1) << size; });
    EXPECT_EQ(size, 7);
}

TEST_F(FileManagerMemoryTest, FilesAreWrittenAndCopiedWhereThatIsSaid)
{
    withEachAllocationFailing([&] { isDone = files.writeFileContent(other, "new"); },
                              [&] {
                                  EXPECT_TRUE(!isDone || asText(files.readFileContent(other)) == "new");
                                  std::filesystem::remove(folder.where() / kOther);
                              });
    EXPECT_TRUE(isDone);
    withEachAllocationFailing([&] { isDone = files.copyFile(path, other); },
                              [&] {
                                  EXPECT_TRUE(!isDone || asText(files.readFileContent(other)) == "content");
                                  std::filesystem::remove(folder.where() / kOther);
                              });
    EXPECT_TRUE(isDone);
}

TEST_F(FileManagerMemoryTest, FilesAreRenamedAndDeletedWhereThatIsSaid)
{
    withEachAllocationFailing([&] { isDone = files.renameFile(path, other); },
                              [&] {
                                  EXPECT_EQ(files.doesFileExist(path), !isDone);
                                  EXPECT_EQ(files.doesFileExist(other), isDone);
                              });
    EXPECT_TRUE(isDone);
    withEachAllocationFailing([&] { isDone = files.deleteFile(other); },
                              [&] { EXPECT_EQ(files.doesFileExist(other), !isDone); });
    EXPECT_TRUE(isDone);
}

TEST_F(FileManagerMemoryTest, DirectoriesAreThereWhereThatIsSaid)
{
    const std::string directories = folder / "a-directory-with-a-long-name\\another-directory-with-a-long-name";
    withEachAllocationFailing([&] { isDone = files.createDirectoriesForPath(directories); },
                              [&] { EXPECT_TRUE(!isDone || files.doesFileExist(directories)); });
    EXPECT_TRUE(isDone);
    const std::string deeper = directories + "\\deeper";
    const std::string file = deeper + "\\file";
    withEachAllocationFailing([&] { isDone = files.createDirectoriesToFileAtPath(file); },
                              [&] { EXPECT_TRUE(!isDone || files.doesFileExist(deeper)); });
    EXPECT_TRUE(isDone);
}

TEST_F(FileManagerMemoryTest, WhatIsNotThereIsNeverFound)
{
    const std::vector<bool (LumStorage::LumFileManager::*)(const std::string&)> questions = {
        &LumStorage::LumFileManager::doesFileExist, &LumStorage::LumFileManager::pathExists,
        &LumStorage::LumFileManager::isDirectory, &LumStorage::LumFileManager::deleteFile};
    for (const auto question : questions) {
        withEachAllocationFailing([&] { isDone = (files.*question)(none); }, [&] { EXPECT_FALSE(isDone); });
    }
    withEachAllocationFailing([&] { isDone = files.writeFileContent(none, "x"); }, [&] { EXPECT_FALSE(isDone); });
    withEachAllocationFailing([&] { isDone = files.copyFile(none, other); }, [&] { EXPECT_FALSE(isDone); });
    withEachAllocationFailing([&] { isDone = files.pathExists(path); }, [] {});
    EXPECT_TRUE(isDone);
}

TEST_F(FileManagerMemoryTest, LockedReadGivesTheContentOrAnError)
{
    std::string content;
    withEachAllocationFailing([&] { content = asText(files.readFileContentWithLock(path, error)); },
                              [&] {
                                  EXPECT_EQ(content, error ? "" : "content");
                                  EXPECT_TRUE(!error || error->getCode() == 1 || error->getCode() == 5);
                              });
    EXPECT_EQ(content, "content");
}

TEST_F(FileManagerMemoryTest, LockedWriteIsDoneOrGivesAnError)
{
    withEachAllocationFailing([&] { isDone = files.writeFileContentWithLock(path, "new", error); },
                              [&] {
                                  EXPECT_EQ(isDone, !error);
                                  EXPECT_TRUE(!error || error->getCode() == 1);
                                  EXPECT_EQ(asText(files.readFileContent(path)), isDone ? "new" : "content");
                                  folder.add(kFile, "content");
                              });
    EXPECT_TRUE(isDone);
}

TEST_F(FileManagerMemoryTest, FailureOfALockedOperationStaysAFailure)
{
    withEachAllocationFailing([&] { isDone = files.writeFileContentWithLock(none, "x", error); },
                              [&] { EXPECT_FALSE(isDone); });
    EXPECT_NE(error, nullptr);
    std::vector<char> content;
    withEachAllocationFailing([&] { content = files.readFileContentWithLock(none, error); },
                              [&] { EXPECT_TRUE(content.empty()); });
    EXPECT_NE(error, nullptr);
}

TEST_F(FileManagerMemoryTest, TemporaryDirectoryIsAlwaysNamed)
{
    const std::string expected = files.getTempDirectoryPath();
    std::string directory;
    withEachAllocationFailing([&] { directory = files.getTempDirectoryPath(); },
                              [&] {
                                  ASSERT_FALSE(directory.empty());
                                  EXPECT_EQ(directory.back(), '\\');
                              });
    EXPECT_EQ(directory, expected);
}

TEST_F(FileManagerMemoryTest, NoHandleStaysOpen)
{
    const auto useAll = [&] {
        files.readFileContent(path);
        files.copyFile(path, other);
        files.readFileContentWithLock(path, error);
        files.writeFileContentWithLock(path, "content", error);
    };
    useAll();
    const std::size_t before = LumTests::openDescriptorCount();
    withEachAllocationFailing(useAll, [] {});
    EXPECT_LE(LumTests::openDescriptorCount(), before + 2);
}

} // namespace
