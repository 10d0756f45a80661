#include "StorageFacts.h"
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

class FilesMemoryTest : public LumTests::StorageTest {
protected:
    LumTests::TestFolder folder;
    const std::string path = folder.add(kFile, "content");
    const std::string other = folder / kOther;
    const std::string none = folder / ("none\\" + std::string(kFile));
    bool isDone = false;
};

class FileManagerMemoryTest : public FilesMemoryTest, public testing::WithParamInterface<Reach> {
protected:
    /// The operation must not throw; after each run `check` is told whether an allocation has failed, and looks at what
    /// became of the operation.
    template <typename Operation, typename Check>
    void withEachAllocationFailing(Operation operation, Check check)
    {
        EXPECT_GT(LumTests::expectEndsWithoutMemory(GetParam(), operation, check), 0);
    }

    /// As above, for what takes memory only where the path is translated, because the system's separator is another.
    template <typename Operation, typename Check>
    void withAllocationsForPathsFailing(Operation operation, Check check)
    {
        constexpr bool isTranslated = std::filesystem::path::preferred_separator != '\\';
        const int count = LumTests::expectEndsWithoutMemory(GetParam(), operation, check);
        EXPECT_TRUE(count > 0 || !isTranslated);
    }
};

INSTANTIATE_TEST_SUITE_P(Reaches, FileManagerMemoryTest, testing::Values(Reach::One, Reach::AllThatFollow),
                         [](const auto& reach) { return reach.param == Reach::One ? "One" : "AllThatFollow"; });

TEST_P(FileManagerMemoryTest, FilesAreReadWholeOrNotAtAll)
{
    std::string content;
    withEachAllocationFailing(
        [&] { content = asText(files.readFileContent(path)); },
        [&](bool hasFailed) { EXPECT_TRUE(content == "content" || (hasFailed && content.empty())) << content; });
    std::int64_t size = 0;
    withAllocationsForPathsFailing(
        [&] { size = files.getFileSize(path); },
        [&](bool hasFailed) { EXPECT_TRUE(size == 7 || (hasFailed && size == -1)) << size; });
}

TEST_P(FileManagerMemoryTest, FilesAreWrittenAndCopiedWhereThatIsSaid)
{
    withEachAllocationFailing([&] { isDone = files.writeFileContent(other, "new"); },
                              [&](bool hasFailed) {
                                  EXPECT_TRUE(isDone || hasFailed);
                                  EXPECT_TRUE(!isDone || asText(files.readFileContent(other)) == "new");
                                  std::filesystem::remove(folder.where() / kOther);
                              });
    withEachAllocationFailing([&] { isDone = files.copyFile(path, other); },
                              [&](bool hasFailed) {
                                  EXPECT_TRUE(isDone || hasFailed);
                                  EXPECT_TRUE(!isDone || asText(files.readFileContent(other)) == "content");
                                  std::filesystem::remove(folder.where() / kOther);
                              });
}

TEST_P(FileManagerMemoryTest, FilesAreRenamedAndDeletedWhereThatIsSaid)
{
    withAllocationsForPathsFailing([&] { isDone = files.renameFile(path, other); },
                                   [&](bool hasFailed) {
                                       EXPECT_TRUE(isDone || hasFailed);
                                       EXPECT_EQ(files.doesFileExist(path), !isDone);
                                       EXPECT_EQ(files.doesFileExist(other), isDone);
                                       files.renameFile(other, path);
                                   });
    folder.add(kOther, "content");
    withAllocationsForPathsFailing([&] { isDone = files.deleteFile(other); },
                                   [&](bool hasFailed) {
                                       EXPECT_TRUE(isDone || hasFailed);
                                       EXPECT_EQ(files.doesFileExist(other), !isDone);
                                       folder.add(kOther, "content");
                                   });
}

TEST_P(FileManagerMemoryTest, DirectoriesAreThereWhereThatIsSaid)
{
    const std::string directories = folder / "a-directory-with-a-long-name\\another-directory-with-a-long-name";
    withEachAllocationFailing([&] { isDone = files.createDirectoriesForPath(directories); },
                              [&](bool hasFailed) {
                                  EXPECT_TRUE(isDone || hasFailed);
                                  EXPECT_TRUE(!isDone || files.doesFileExist(directories));
                              });
    const std::string deeper = directories + "\\deeper";
    const std::string file = deeper + "\\file";
    withEachAllocationFailing([&] { isDone = files.createDirectoriesToFileAtPath(file); },
                              [&](bool hasFailed) {
                                  EXPECT_TRUE(isDone || hasFailed);
                                  EXPECT_TRUE(!isDone || files.doesFileExist(deeper));
                              });
}

TEST_P(FileManagerMemoryTest, WhatIsNotThereIsNeverFound)
{
    const std::vector<bool (LumStorage::LumFileManager::*)(const std::string&)> questions = {
        &LumStorage::LumFileManager::doesFileExist, &LumStorage::LumFileManager::pathExists,
        &LumStorage::LumFileManager::isDirectory, &LumStorage::LumFileManager::deleteFile};
    for (const auto question : questions) {
        withEachAllocationFailing([&] { isDone = (files.*question)(none); }, [&](bool) { EXPECT_FALSE(isDone); });
    }
    withEachAllocationFailing([&] { isDone = files.writeFileContent(none, "x"); }, [&](bool) { EXPECT_FALSE(isDone); });
    withEachAllocationFailing([&] { isDone = files.copyFile(none, other); }, [&](bool) { EXPECT_FALSE(isDone); });
    withEachAllocationFailing([&] { isDone = files.pathExists(path); },
                              [&](bool hasFailed) { EXPECT_TRUE(isDone || hasFailed); });
}

TEST_P(FileManagerMemoryTest, LockedReadGivesTheContentOrAnError)
{
    std::string content;
    withEachAllocationFailing([&] { content = asText(files.readFileContentWithLock(path, error)); },
                              [&](bool hasFailed) {
                                  EXPECT_EQ(content, error ? "" : "content");
                                  EXPECT_TRUE(!error || hasFailed);
                                  EXPECT_TRUE(!error || error->getCode() == 1 || error->getCode() == 5);
                              });
}

TEST_P(FileManagerMemoryTest, LockedWriteIsDoneOrGivesAnError)
{
    withEachAllocationFailing([&] { isDone = files.writeFileContentWithLock(path, "new", error); },
                              [&](bool hasFailed) {
                                  EXPECT_EQ(isDone, !error);
                                  EXPECT_TRUE(isDone || hasFailed);
                                  EXPECT_TRUE(!error || error->getCode() == 1);
                                  EXPECT_EQ(asText(files.readFileContent(path)), isDone ? "new" : "content");
                                  folder.add(kFile, "content");
                              });
}

TEST_P(FileManagerMemoryTest, FailureOfALockedOperationStaysAFailure)
{
    withEachAllocationFailing([&] { isDone = files.writeFileContentWithLock(none, "x", error); },
                              [&](bool) {
                                  EXPECT_FALSE(isDone);
                                  EXPECT_NE(error, nullptr);
                              });
    std::vector<char> content;
    withEachAllocationFailing([&] { content = files.readFileContentWithLock(none, error); },
                              [&](bool) {
                                  EXPECT_TRUE(content.empty());
                                  EXPECT_NE(error, nullptr) << "else it would be an empty file";
                              });
}

TEST_P(FileManagerMemoryTest, AnErrorHasItsCodeAndAtLeastANumber)
{
    const std::string description(100, 'x');
    constexpr int kMemory = LumTests::StorageFacts::kNoMemory;
    for (const int code : {1, 4, 10, 11, -1}) {
        const bool isOfTheDomain = code > 0 && code < 11;
        withEachAllocationFailing([&] { files.setErrorAndLog(code, 7, description, error); },
                                  [&](bool hasFailed) {
                                      ASSERT_NE(error, nullptr);
                                      EXPECT_EQ(error->getDomain(), "com.corvan.clientlibs.liblumstorage.error");
                                      const bool isWhole = error->getUserInfo().size() == 2U;
                                      EXPECT_TRUE(isWhole || hasFailed);
                                      const std::any& number = error->getUserInfo().at("LumErrorUnderlyingErrorCode");
                                      EXPECT_EQ(std::any_cast<int>(number), isWhole ? 7 : kMemory);
                                      EXPECT_EQ(error->getCode(), isWhole || isOfTheDomain ? code : 0);
                                  });
    }
}

TEST_P(FileManagerMemoryTest, AnErrorIsOwnedByWhoeverHasIt)
{
    bool wasPrepared = false;
    const auto look = [&](bool) {
        ASSERT_NE(error, nullptr);
        wasPrepared = wasPrepared || error->getUserInfo().size() == 1U;
        EXPECT_GT(error.use_count(), 0);
        EXPECT_EQ(std::weak_ptr<LumUtils::ILumError>(error).lock(), error);
    };
    withEachAllocationFailing([&] { files.setErrorAndLog(5, 7, "description", error); }, look);
    EXPECT_TRUE(wasPrepared);
}

TEST_P(FileManagerMemoryTest, DirectoriesAreToldFromFilesWhereThatIsSaid)
{
    const std::string directory = folder / "a-directory-with-a-long-name";
    ASSERT_TRUE(files.createDirectoriesForPath(directory));
    const auto expectDone = [&](bool hasFailed) { EXPECT_TRUE(isDone || hasFailed); };
    withEachAllocationFailing([&] { isDone = files.isDirectory(directory); }, expectDone);
    withEachAllocationFailing([&] { isDone = files.isDirectory(path); }, [&](bool) { EXPECT_FALSE(isDone); });
    withAllocationsForPathsFailing([&] { isDone = files.doesFileExist(path); }, expectDone);
}

TEST_F(FilesMemoryTest, TheWrapperOfTheSystemsFilesSaysSoOrThrows)
{
    LumStorage::LumStdFilesystemWrapper wrapper;
    EXPECT_GT(LumTests::expectThrowsWithoutMemory([&] { isDone = wrapper.exists(path); }), 0);
    EXPECT_TRUE(isDone);
    EXPECT_GT(LumTests::expectThrowsWithoutMemory([&] { isDone = wrapper.isDirectory(path); }), 0);
    EXPECT_FALSE(isDone);
    EXPECT_GT(LumTests::expectThrowsWithoutMemory([&] { isDone = wrapper.exists(none); }), 0);
    EXPECT_FALSE(isDone);
}

TEST_P(FileManagerMemoryTest, TemporaryDirectoryIsAlwaysNamed)
{
    const std::string expected = files.getTempDirectoryPath();
    std::string directory;
    // A short name takes none.
    LumTests::expectEndsWithoutMemory(
        GetParam(), [&] { directory = files.getTempDirectoryPath(); },
        [&](bool hasFailed) {
            ASSERT_FALSE(directory.empty());
            EXPECT_EQ(directory.back(), '\\');
            EXPECT_TRUE(directory == expected || hasFailed) << directory;
        });
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
    // What the runtime opens for itself, also for an exception, it opens only once.
    withEachAllocationFailing(useAll, [](bool) {});
    const std::size_t before = LumTests::openDescriptorCount();
    withEachAllocationFailing(useAll, [&](bool) { EXPECT_EQ(LumTests::openDescriptorCount(), before); });
}

} // namespace
