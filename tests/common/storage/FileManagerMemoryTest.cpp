#include "support/EachAllocationFails.h"
#include "support/ProcessResources.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"

#include <filesystem>

/// Whichever of its allocations fails, an operation ends with a result that is true, and what it opened is closed.

namespace {

using LumTests::asText;

// Longer than what a string holds without an allocation.
constexpr const char* kFile = "a-file-whose-name-takes-an-allocation";
constexpr const char* kOther = "another-file-whose-name-takes-an-allocation";

using Reach = LumTests::FailingAllocation::Reach;

class FileManagerMemoryTest : public LumTests::StorageTest, public testing::WithParamInterface<Reach> {
protected:
    /// The operation must not throw; after each run `check` looks at what became of it.
    template <typename Operation, typename Check>
    void withEachAllocationFailing(Operation operation, Check check)
    {
        LumTests::expectEndsWithoutMemory(GetParam(), operation, [&](bool) { check(); });
    }

    LumTests::TestFolder folder;
    const std::string path = folder.add(kFile, "content");
    const std::string other = folder / kOther;
    const std::string none = folder / ("none\\" + std::string(kFile));
    bool isDone = false;
};

INSTANTIATE_TEST_SUITE_P(Reaches, FileManagerMemoryTest, testing::Values(Reach::One, Reach::AllThatFollow),
                         [](const auto& reach) { return reach.param == Reach::One ? "One" : "AllThatFollow"; });

TEST_P(FileManagerMemoryTest, FilesAreReadWholeOrNotAtAll)
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

TEST_P(FileManagerMemoryTest, FilesAreWrittenAndCopiedWhereThatIsSaid)
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

TEST_P(FileManagerMemoryTest, FilesAreRenamedAndDeletedWhereThatIsSaid)
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

TEST_P(FileManagerMemoryTest, DirectoriesAreThereWhereThatIsSaid)
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

TEST_P(FileManagerMemoryTest, WhatIsNotThereIsNeverFound)
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

TEST_P(FileManagerMemoryTest, LockedReadGivesTheContentOrAnError)
{
    std::string content;
    withEachAllocationFailing([&] { content = asText(files.readFileContentWithLock(path, error)); },
                              [&] {
                                  EXPECT_EQ(content, error ? "" : "content");
                                  EXPECT_TRUE(!error || error->getCode() == 1 || error->getCode() == 5);
                              });
    EXPECT_EQ(content, "content");
}

TEST_P(FileManagerMemoryTest, LockedWriteIsDoneOrGivesAnError)
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

TEST_P(FileManagerMemoryTest, FailureOfALockedOperationStaysAFailure)
{
    withEachAllocationFailing([&] { isDone = files.writeFileContentWithLock(none, "x", error); },
                              [&] {
                                  EXPECT_FALSE(isDone);
                                  EXPECT_NE(error, nullptr);
                              });
    std::vector<char> content;
    withEachAllocationFailing([&] { content = files.readFileContentWithLock(none, error); },
                              [&] {
                                  EXPECT_TRUE(content.empty());
                                  EXPECT_NE(error, nullptr) << "else it would be an empty file";
                              });
}

TEST_P(FileManagerMemoryTest, AnErrorHasItsCodeAndAtLeastANumber)
{
    const std::string description(100, 'x');
    constexpr int kMemory = 8;
    for (const int code : {1, 4, 10, 11, -1}) {
        const bool isOfTheDomain = code > 0 && code < 11;
        withEachAllocationFailing([&] { files.setErrorAndLog(code, 7, description, error); },
                                  [&] {
                                      ASSERT_NE(error, nullptr);
                                      EXPECT_EQ(error->getDomain(), "com.corvan.clientlibs.liblumstorage.error");
                                      const bool isWhole = error->getUserInfo().size() == 2U;
                                      const std::any& number = error->getUserInfo().at("LumErrorUnderlyingErrorCode");
                                      EXPECT_EQ(std::any_cast<int>(number), isWhole ? 7 : kMemory);
                                      EXPECT_EQ(error->getCode(), isWhole || isOfTheDomain ? code : 0);
                                  });
        EXPECT_EQ(error->getUserInfo().size(), 2U);
    }
}

TEST_P(FileManagerMemoryTest, DirectoriesAreToldFromFilesWhereThatIsSaid)
{
    const std::string directory = folder / "a-directory-with-a-long-name";
    ASSERT_TRUE(files.createDirectoriesForPath(directory));
    withEachAllocationFailing([&] { isDone = files.isDirectory(directory); }, [] {});
    EXPECT_TRUE(isDone);
    withEachAllocationFailing([&] { isDone = files.isDirectory(path); }, [&] { EXPECT_FALSE(isDone); });
    withEachAllocationFailing([&] { isDone = files.doesFileExist(path); }, [] {});
    EXPECT_TRUE(isDone);
}

TEST_P(FileManagerMemoryTest, TheWrapperOfTheSystemsFilesSaysSoOrThrows)
{
    LumStorage::LumStdFilesystemWrapper wrapper;
    LumTests::expectThrowsWithoutMemory([&] { isDone = wrapper.exists(path); });
    EXPECT_TRUE(isDone);
    LumTests::expectThrowsWithoutMemory([&] { isDone = wrapper.isDirectory(path); });
    EXPECT_FALSE(isDone);
    LumTests::expectThrowsWithoutMemory([&] { isDone = wrapper.exists(none); });
    EXPECT_FALSE(isDone);
}

TEST_P(FileManagerMemoryTest, TemporaryDirectoryIsAlwaysNamed)
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

TEST_P(FileManagerMemoryTest, NoHandleStaysOpen)
{
    const auto useAll = [&] {
        files.readFileContent(path);
        files.getFileSize(path);
        files.writeFileContent(path, "content");
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
