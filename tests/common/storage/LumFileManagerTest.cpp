#include "common/storage/LumFileManager.h"

#include "StorageFacts.h"
#include "common/utils/LumError.h"
#include "support/AllocationLimit.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"
#include "support/ThrowingLogger.h"
#include "support/VtableSlot.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <type_traits>

namespace {

using LumStorage::ILumFilesystemWrapper;
using LumStorage::LumFileManager;
using LumTests::asText;
using LumTests::TestFolder;
using LumUtils::LumLogLevel;

/// More than is read or copied at a time, and no multiple of it.
std::string longContent()
{
    std::string content;
    for (unsigned int index = 0; content.size() < 1000000; ++index) {
        content += std::to_string(index * 2654435761U);
    }
    return content;
}

std::string everyByte()
{
    std::string content;
    for (int byte = 0; byte < 256; ++byte) {
        content += static_cast<char>(static_cast<unsigned char>(byte));
    }
    return content;
}

class LumFileManagerTest : public LumTests::StorageTest {
protected:
    /// An operation on what is not there, and the one record of its failure.
    struct OperationRow {
        std::string operation;
        std::function<void()> call;
        LumLogLevel level;
        std::string message;
        /// With what the record begins where std::filesystem fails on such a path, if it is asked.
        std::string failure = {};
    };

    /// Every operation that takes a path and logs under its own name.
    std::vector<OperationRow> operations(const std::string& path)
    {
        return {
            {"doesFileExist", [=] { EXPECT_FALSE(files.doesFileExist(path)); }, LumLogLevel::Error,
             "File does not exist: " + path},
            {"deleteFile", [=] { EXPECT_FALSE(files.deleteFile(path)); }, LumLogLevel::Error,
             "Error deleting file '" + path + "'"},
            {"renameFile", [=] { EXPECT_FALSE(files.renameFile(path, path)); }, LumLogLevel::Error,
             "Error renaming file from '" + path + "' to '" + path + "'"},
            {"readFileContent", [=] { EXPECT_TRUE(files.readFileContent(path).empty()); }, LumLogLevel::Error,
             "Error opening file '" + path + "' for reading."},
            {"writeFileContent", [=] { EXPECT_FALSE(files.writeFileContent(path, "x")); }, LumLogLevel::Error,
             "Error opening file '" + path + "' for writing."},
            {"copyFile", [=] { EXPECT_FALSE(files.copyFile(path, path)); }, LumLogLevel::Error,
             "Failed to open source file " + path},
            {"getFileSize", [=] { EXPECT_EQ(files.getFileSize(path), -1); }, LumLogLevel::Error,
             "Failed to open file " + path},
            {"pathExists", [=] { EXPECT_FALSE(files.pathExists(path)); }, LumLogLevel::Info,
             "Path does not exist: " + path, "Filesystem error checking if path exists '" + path + "': "},
            {"isDirectory", [=] { EXPECT_FALSE(files.isDirectory(path)); }, LumLogLevel::Info,
             "Path is not a directory: " + path, "Filesystem error checking if path is directory '" + path + "': "},
        };
    }

    std::string pathWithNul() const { return std::string(folder.add("shorter", "x")) + '\0' + "longer"; }

    TestFolder folder;
};

TEST_F(LumFileManagerTest, MembersStandInTheirOrder)
{
    struct Words {
        void* word[5];
    };
    ASSERT_EQ(sizeof(LumFileManager), sizeof(Words));
    ASSERT_EQ(sizeof(recorder), 2 * sizeof(void*));
    const auto wrapper = std::make_shared<LumStorage::LumStdFilesystemWrapper>();
    const LumFileManager manager(recorder, wrapper);
    Words words = {};
    std::memcpy(&words, static_cast<const void*>(&manager), sizeof(words));
    EXPECT_NE(words.word[0], nullptr) << "the table of operations";
    EXPECT_EQ(words.word[1], static_cast<LumUtils::ILumUtilsLoggerDelegate*>(recorder.get()));
    EXPECT_EQ(words.word[3], static_cast<ILumFilesystemWrapper*>(wrapper.get()));
}

TEST_F(LumFileManagerTest, OperationsStandInTheirSlots)
{
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::doesFileExist), 1U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::deleteFile), 2U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::renameFile), 3U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::readFileContent), 4U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::writeFileContent), 5U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::copyFile), 6U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::getFileSize), 7U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::createDirectoriesToFileAtPath), 8U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::createDirectoriesForPath), 9U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::pathExists), 10U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::isDirectory), 11U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::setErrorAndLog), 12U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::readFileContentWithLock), 13U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::writeFileContentWithLock), 14U);
    EXPECT_EQ(LumTests::vtableSlot(&LumFileManager::getTempDirectoryPath), 15U);
    EXPECT_TRUE(std::has_virtual_destructor_v<LumFileManager>);
}

TEST_F(LumFileManagerTest, LoggerAndWrapperLiveAsLongAsTheFileManager)
{
    const auto wrapper = std::make_shared<LumStorage::LumStdFilesystemWrapper>();
    const long before = recorder.use_count();
    {
        const LumFileManager manager(recorder, wrapper);
        EXPECT_EQ(recorder.use_count(), before + 1);
        EXPECT_EQ(wrapper.use_count(), 2);
    }
    EXPECT_EQ(recorder.use_count(), before);
    EXPECT_EQ(wrapper.use_count(), 1);
}

TEST_F(LumFileManagerTest, FilesAndDirectoriesExist)
{
    EXPECT_TRUE(files.doesFileExist(folder.add("a", "")));
    EXPECT_TRUE(files.doesFileExist(folder.path()));
    expectSilent();
}

TEST_F(LumFileManagerTest, MissingFileDoesNotExist)
{
    EXPECT_FALSE(files.doesFileExist(folder / "none"));
    expectError("doesFileExist", "File does not exist: " + (folder / "none"));
    EXPECT_FALSE(files.doesFileExist(folder / "none\\below"));
    expectError("doesFileExist", "File does not exist: " + (folder / "none\\below"));
    EXPECT_FALSE(files.doesFileExist(""));
    expectError("doesFileExist", "File does not exist: ");
}

TEST_F(LumFileManagerTest, BothSeparatorsNameTheSameFile)
{
    const std::string slashes = folder.path() + "/sub/file";
    EXPECT_TRUE(files.createDirectoriesToFileAtPath(folder / "sub\\file"));
    EXPECT_TRUE(files.writeFileContent(folder / "sub\\file", "x"));
    EXPECT_TRUE(files.doesFileExist(slashes));
    EXPECT_EQ(asText(files.readFileContent(slashes)), "x");
    EXPECT_EQ(asText(files.readFileContentWithLock(slashes, error)), "x");
    EXPECT_TRUE(files.renameFile(slashes, folder / "sub\\other"));
    EXPECT_TRUE(files.isDirectory(folder.path() + "/sub"));
    EXPECT_TRUE(files.deleteFile(folder.path() + "/sub/other"));
}

TEST_F(LumFileManagerTest, WhatLiesBelowAFileIsNotThere)
{
    folder.add("file", "x");
    EXPECT_FALSE(files.doesFileExist(folder / "file\\below"));
    expectError("doesFileExist", "File does not exist: " + (folder / "file\\below"));
    EXPECT_FALSE(files.createDirectoriesForPath(folder / "file\\below\\deeper"));
    expectError("createDirectoriesForPath",
                "Failed to create directory at " + (folder / "file\\below") + " errorCode = " + std::to_string(ENOENT));
    const std::string longName = folder / std::string(5000, 'a');
    EXPECT_FALSE(files.doesFileExist(longName));
    expectError("doesFileExist", "File does not exist: " + longName);
    EXPECT_EQ(folder.contentOf("file"), "x");
}

TEST_F(LumFileManagerTest, FileIsDeleted)
{
    EXPECT_TRUE(files.deleteFile(folder.add("a", "x")));
    expectSilent();
    EXPECT_EQ(folder.contentOf("a"), "(none)");
}

TEST_F(LumFileManagerTest, WhatIsNoFileIsNotDeleted)
{
    EXPECT_FALSE(files.deleteFile(folder / "none"));
    expectError("deleteFile", "Error deleting file '" + (folder / "none") + "'");
    std::filesystem::create_directory(folder.where() / "sub");
    EXPECT_FALSE(files.deleteFile(folder / "sub"));
    expectError("deleteFile", "Error deleting file '" + (folder / "sub") + "'");
    EXPECT_TRUE(std::filesystem::is_directory(folder.where() / "sub"));
    EXPECT_FALSE(files.deleteFile(""));
    expectError("deleteFile", "Error deleting file ''");
}

TEST_F(LumFileManagerTest, FileIsRenamed)
{
    EXPECT_TRUE(files.renameFile(folder.add("a", "content"), folder / "b"));
    expectSilent();
    EXPECT_EQ(folder.contentOf("a"), "(none)");
    EXPECT_EQ(folder.contentOf("b"), "content");
}

TEST_F(LumFileManagerTest, FileIsNotRenamedFromNothingOrOverAnother)
{
    EXPECT_FALSE(files.renameFile(folder / "none", folder / "b"));
    expectError("renameFile", "Error renaming file from '" + (folder / "none") + "' to '" + (folder / "b") + "'");
    EXPECT_FALSE(files.renameFile(folder.add("a", "1"), folder.add("b", "2")));
    expectError("renameFile", "Error renaming file from '" + (folder / "a") + "' to '" + (folder / "b") + "'");
    EXPECT_EQ(folder.contentOf("a"), "1");
    EXPECT_EQ(folder.contentOf("b"), "2");
    EXPECT_FALSE(files.renameFile("", ""));
    expectError("renameFile", "Error renaming file from '' to ''");
}

TEST_F(LumFileManagerTest, FileIsReadByteForByte)
{
    for (const std::string& content : {everyByte(), std::string("\r\n\x1A\n"), std::string("x"), longContent()}) {
        EXPECT_EQ(asText(files.readFileContent(folder.add("a", content))), content);
    }
    expectSilent();
    EXPECT_TRUE((std::is_same_v<decltype(files.readFileContent("")), std::vector<char>>));
}

TEST_F(LumFileManagerTest, EmptyFileIsReadWithoutARecord)
{
    EXPECT_TRUE(files.readFileContent(folder.add("a", "")).empty());
    expectSilent();
}

TEST_F(LumFileManagerTest, FileThatCannotBeOpenedIsNotRead)
{
    for (const std::string& path : {folder / "none", folder.path(), std::string()}) {
        EXPECT_TRUE(files.readFileContent(path).empty());
        expectError("readFileContent", "Error opening file '" + path + "' for reading.");
    }
}

TEST_F(LumFileManagerTest, FileThatThereIsNoMemoryForIsNotRead)
{
    const std::string path = folder.add("a", std::string(2000000, 'x'));
    {
        const LumTests::AllocationLimit limit(1500000);
        EXPECT_TRUE(files.readFileContent(path).empty());
    }
    expectError("readFileContent", "Error reading file '" + path + "'.");
    EXPECT_EQ(files.readFileContent(path).size(), 2000000U) << "the next read succeeds";
}

TEST_F(LumFileManagerTest, ContentIsWrittenAsText)
{
    EXPECT_TRUE(files.writeFileContent(folder / "a", "one\ntwo\r\n\nend"));
    expectRecord(LumLogLevel::Info, "writeFileContent", "Successfully wrote content to file " + (folder / "a"));
    const std::string end = LumTests::StorageFacts::kLineEnd;
    EXPECT_EQ(folder.contentOf("a"), "one" + end + "two\r" + end + end + "end");
}

TEST_F(LumFileManagerTest, LongTextIsWrittenWhole)
{
    std::string content;
    std::string expected;
    for (int index = 0; index < 200000; ++index) {
        content += std::to_string(index) + "\n";
        expected += std::to_string(index) + LumTests::StorageFacts::kLineEnd;
    }
    EXPECT_TRUE(files.writeFileContent(folder / "a", content));
    EXPECT_EQ(folder.contentOf("a"), expected);
    EXPECT_TRUE(files.writeFileContent(folder / "a", std::string(300000, '\n')));
    EXPECT_EQ(folder.contentOf("a").size(), 300000 * std::string(LumTests::StorageFacts::kLineEnd).size());
}

TEST_F(LumFileManagerTest, WrittenContentReplacesTheOldOne)
{
    const std::string path = folder.add("a", "a longer content than the new one");
    EXPECT_TRUE(files.writeFileContent(path, std::string("short\0er", 8)));
    EXPECT_EQ(folder.contentOf("a"), std::string("short\0er", 8));
    EXPECT_TRUE(files.writeFileContent(path, ""));
    EXPECT_EQ(folder.contentOf("a"), "");
}

TEST_F(LumFileManagerTest, FileThatCannotBeOpenedIsNotWritten)
{
    for (const std::string& path : {folder / "none\\a", folder.path(), std::string()}) {
        EXPECT_FALSE(files.writeFileContent(path, "content"));
        expectError("writeFileContent", "Error opening file '" + path + "' for writing.");
    }
}

TEST_F(LumFileManagerTest, FileIsCopiedByteForByte)
{
    for (const std::string& content : {everyByte(), std::string("\r\n\x1A\n"), longContent()}) {
        folder.add("b", "a content that is replaced");
        EXPECT_TRUE(files.copyFile(folder.add("a", content), folder / "b"));
        EXPECT_EQ(folder.contentOf("b"), content);
        EXPECT_EQ(folder.contentOf("a"), content);
    }
    expectSilent();
}

TEST_F(LumFileManagerTest, CopyingNothingIsAFailureThatLeavesAnEmptyCopy)
{
    EXPECT_FALSE(files.copyFile(folder.add("a", ""), folder.add("b", "a content that is replaced")));
    expectError("copyFile", "Error occurred during file copy from " + (folder / "a") + " to " + (folder / "b"));
    EXPECT_EQ(folder.contentOf("b"), "");
}

TEST_F(LumFileManagerTest, BothFilesOfACopyAreOpenedBeforeEitherIsChecked)
{
    EXPECT_FALSE(files.copyFile(folder / "none", folder.add("b", "content")));
    expectError("copyFile", "Failed to open source file " + (folder / "none"));
    EXPECT_EQ(folder.contentOf("b"), "") << "the destination has been emptied";

    EXPECT_FALSE(files.copyFile(folder.add("a", "content"), folder / "none\\b"));
    expectError("copyFile", "Failed to open destination file " + (folder / "none\\b"));

    EXPECT_FALSE(files.copyFile(folder / "none", folder / "none\\b"));
    expectError("copyFile", "Failed to open source file " + (folder / "none"));

    EXPECT_FALSE(files.copyFile(folder.path(), folder / "b"));
    expectError("copyFile", "Failed to open source file " + folder.path());
    EXPECT_FALSE(files.copyFile(folder / "a", folder.path()));
    expectError("copyFile", "Failed to open destination file " + folder.path());
    EXPECT_FALSE(files.copyFile("", ""));
    expectError("copyFile", "Failed to open source file ");
}

TEST_F(LumFileManagerTest, CopyThatThereIsNoMemoryForFails)
{
    const std::string path = folder.add("a", "content");
    {
        const LumTests::AllocationLimit limit(100000);
        EXPECT_FALSE(files.copyFile(path, folder / "b"));
    }
    expectError("copyFile", "Error occurred during file copy from " + path + " to " + (folder / "b"));
}

TEST_F(LumFileManagerTest, CopyOntoItselfFailsAndLeavesNothing)
{
    const std::string path = folder.add("a", "content");
    EXPECT_FALSE(files.copyFile(path, path));
    expectError("copyFile", "Error occurred during file copy from " + path + " to " + path);
    EXPECT_EQ(folder.contentOf("a"), "");
}

TEST_F(LumFileManagerTest, SizeIsCountedInBytes)
{
    EXPECT_EQ(files.getFileSize(folder.add("a", "1\n2\r\n3")), 6);
    EXPECT_EQ(files.getFileSize(folder.add("empty", "")), 0);
    EXPECT_EQ(files.getFileSize(folder.add("long", longContent())), static_cast<std::int64_t>(longContent().size()));
    expectSilent();
    EXPECT_TRUE((std::is_same_v<decltype(files.getFileSize("")), std::int64_t>));
}

TEST_F(LumFileManagerTest, SizeOfAFileOfThreeGibibytes)
{
    const std::string path = folder.add("large", "");
    constexpr std::uintmax_t kSize = std::uintmax_t{3} << 30U;
    std::error_code refused;
    std::filesystem::resize_file(folder.where() / "large", kSize, refused);
    if (refused) {
        GTEST_SKIP() << "the disk does not allow it: " << refused.message();
    }
    EXPECT_EQ(files.getFileSize(path), static_cast<std::int64_t>(kSize));
    expectSilent();
    const LumTests::AllocationLimit limit(std::size_t{1} << 30U);
    EXPECT_TRUE(files.readFileContent(path).empty());
    expectError("readFileContent", "Error reading file '" + path + "'.");
}

TEST_F(LumFileManagerTest, SizeOfWhatCannotBeOpenedIsMinusOne)
{
    for (const std::string& path : {folder / "none", folder.path(), std::string()}) {
        EXPECT_EQ(files.getFileSize(path), -1);
        expectError("getFileSize", "Failed to open file " + path);
    }
}

TEST_F(LumFileManagerTest, DirectoriesAreMadeInAChain)
{
    EXPECT_TRUE(files.createDirectoriesForPath(folder / "one\\two\\three"));
    EXPECT_TRUE(std::filesystem::is_directory(folder.where() / "one" / "two" / "three"));
    EXPECT_TRUE(files.createDirectoriesForPath(folder / "one\\two\\three")) << "an existing chain";
    EXPECT_TRUE(files.createDirectoriesForPath(folder / "one\\\\two\\\\\\four\\\\")) << "doubled and trailing";
    EXPECT_TRUE(std::filesystem::is_directory(folder.where() / "one" / "two" / "four"));
    EXPECT_TRUE(files.createDirectoriesForPath(""));
    EXPECT_TRUE(files.createDirectoriesForPath("\\\\\\"));
    expectSilent();
}

TEST_F(LumFileManagerTest, LeadingBackslashesAreDropped)
{
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.where());
    EXPECT_TRUE(files.createDirectoriesForPath("\\\\server\\share"));
    EXPECT_TRUE(files.createDirectoriesForPath("\\rooted\\a"));
    EXPECT_TRUE(files.createDirectoriesToFileAtPath("\\file"));
    std::filesystem::current_path(before);
    expectSilent();
    EXPECT_TRUE(std::filesystem::is_directory(folder.where() / "server" / "share"));
    EXPECT_TRUE(std::filesystem::is_directory(folder.where() / "rooted" / "a"));
    EXPECT_FALSE(std::filesystem::exists(folder.where() / "file"));
}

TEST_F(LumFileManagerTest, ForwardSlashesDoNotSeparateDirectories)
{
    EXPECT_FALSE(files.createDirectoriesForPath(folder / "one/two/three"));
    expectError("createDirectoriesForPath",
                "Failed to create directory at " + (folder / "one/two/three") + " errorCode = 2");
    EXPECT_FALSE(std::filesystem::exists(folder.where() / "one"));
    EXPECT_FALSE(files.createDirectoriesToFileAtPath("one/two"));
    expectError("createDirectoriesToFileAtPath", "Invalid path provided: one/two");
}

TEST_F(LumFileManagerTest, DirectoriesToAFileAreMadeWithoutTheFile)
{
    EXPECT_TRUE(files.createDirectoriesToFileAtPath(folder / "one\\two\\file.txt"));
    expectSilent();
    EXPECT_TRUE(std::filesystem::is_directory(folder.where() / "one" / "two"));
    EXPECT_FALSE(std::filesystem::exists(folder.where() / "one" / "two" / "file.txt"));
}

TEST_F(LumFileManagerTest, BareFileNameHasNoDirectories)
{
    EXPECT_FALSE(files.createDirectoriesToFileAtPath("file.txt"));
    expectError("createDirectoriesToFileAtPath", "Invalid path provided: file.txt");
    EXPECT_FALSE(files.createDirectoriesToFileAtPath(""));
    expectError("createDirectoriesToFileAtPath", "Invalid path provided: ");
}

TEST_F(LumFileManagerTest, DerivedClassMayReplaceHowDirectoriesAreMade)
{
    class Derived : public LumFileManager {
    public:
        using LumFileManager::LumFileManager;
        bool createDirectoriesForPath(const std::string& directoryPath) override
        {
            asked.push_back(directoryPath);
            return answer;
        }
        std::vector<std::string> asked;
        bool answer = true;
    };
    Derived manager(recorder);
    EXPECT_TRUE(manager.createDirectoriesToFileAtPath("C:\\a\\\\b.txt"));
    manager.answer = false;
    EXPECT_FALSE(manager.createDirectoriesToFileAtPath("\\b"));
    EXPECT_THAT(manager.asked, testing::ElementsAre("C:\\a\\", ""));
    expectSilent();
}

TEST_F(LumFileManagerTest, DirectoryThatThereIsNoMemoryForIsNotMade)
{
    const std::string path = std::string(3000, 'x');
    const std::string file = path + "\\file";
    const LumTests::AllocationLimit limit(1000);
    EXPECT_FALSE(files.createDirectoriesForPath(path));
    expectError("createDirectoriesForPath", "Failed to create directory at  errorCode = " + std::to_string(ENOMEM));
    EXPECT_FALSE(files.createDirectoriesToFileAtPath(file)) << "there is no memory for its record either";
    expectSilent();
}

TEST_F(LumFileManagerTest, PathsWithPercentSignsAreNoFormats)
{
    const std::string name = "%s%n%d%5$s%%";
    const std::string none = folder / ("none\\" + name);
    EXPECT_FALSE(files.doesFileExist(none));
    expectError("doesFileExist", "File does not exist: " + none);
    EXPECT_FALSE(files.deleteFile(none));
    expectError("deleteFile", "Error deleting file '" + none + "'");
    EXPECT_FALSE(files.renameFile(none, none));
    expectError("renameFile", "Error renaming file from '" + none + "' to '" + none + "'");
    files.readFileContent(none);
    expectError("readFileContent", "Error opening file '" + none + "' for reading.");
    EXPECT_FALSE(files.writeFileContent(none, "%s"));
    expectError("writeFileContent", "Error opening file '" + none + "' for writing.");
    EXPECT_FALSE(files.copyFile(none, none));
    expectError("copyFile", "Failed to open source file " + none);
    EXPECT_EQ(files.getFileSize(none), -1);
    expectError("getFileSize", "Failed to open file " + none);
    EXPECT_FALSE(files.createDirectoriesToFileAtPath(name));
    expectError("createDirectoriesToFileAtPath", "Invalid path provided: " + name);
    EXPECT_FALSE(files.pathExists(none));
    expectRecord(LumLogLevel::Info, "pathExists", "Path does not exist: " + none);
    EXPECT_FALSE(files.isDirectory(none));
    expectRecord(LumLogLevel::Info, "isDirectory", "Path is not a directory: " + none);
    const std::string there = folder / "100%s%n";
    EXPECT_TRUE(files.writeFileContent(there, "%s%n\r"));
    expectRecord(LumLogLevel::Info, "writeFileContent", "Successfully wrote content to file " + there);
    EXPECT_EQ(asText(files.readFileContent(there)), "%s%n\r");
    EXPECT_TRUE(files.copyFile(there, there + "2"));
    expectSilent();
}

TEST_F(LumFileManagerTest, LineBreaksInPathsStayInTheRecords)
{
    const std::string none = folder / "none\\one\ntwo\r\n";
    for (const OperationRow& row : operations(none)) {
        SCOPED_TRACE(row.operation);
        row.call();
        expectRecord(row.level, row.operation, row.message);
    }
    EXPECT_FALSE(files.createDirectoriesToFileAtPath("one\ntwo\r\n"));
    expectError("createDirectoriesToFileAtPath", "Invalid path provided: one\ntwo\r\n");
    EXPECT_TRUE(files.readFileContentWithLock(none, error).empty());
    expectReported(1, "Error opening file '" + none + "' to acquire lock for reading.");
    EXPECT_FALSE(files.writeFileContentWithLock(none, "x", error));
    expectReported(1, "Error opening file '" + none + "' to acquire lock for writing.");
}

TEST_F(LumFileManagerTest, PathWithANulIsNotTakenForAShorterOne)
{
    const std::string path = pathWithNul();
    const std::string shown = path.c_str();
    EXPECT_FALSE(files.doesFileExist(path));
    expectError("doesFileExist", "Error checking file existence");
    EXPECT_FALSE(files.deleteFile(path));
    expectError("deleteFile", "Error deleting file '" + shown + "'");
    EXPECT_FALSE(files.renameFile(path, folder / "new"));
    expectError("renameFile", "Error renaming file from '" + shown + "' to '" + (folder / "new") + "'");
    EXPECT_FALSE(files.renameFile(shown, path));
    expectError("renameFile", "Error renaming file from '" + shown + "' to '" + shown + "'");
    EXPECT_TRUE(files.readFileContent(path).empty());
    expectError("readFileContent", "Error opening file '" + shown + "' for reading.");
    EXPECT_FALSE(files.writeFileContent(path, "new"));
    expectError("writeFileContent", "Error opening file '" + shown + "' for writing.");
    EXPECT_FALSE(files.copyFile(path, folder / "new"));
    expectError("copyFile", "Failed to open source file " + shown);
    EXPECT_FALSE(files.copyFile(shown, path));
    expectError("copyFile", "Failed to open destination file " + shown);
    EXPECT_EQ(files.getFileSize(path), -1);
    expectError("getFileSize", "Failed to open file " + shown);
    EXPECT_FALSE(files.createDirectoriesForPath(path));
    expectError("createDirectoriesForPath",
                "Failed to create directory at " + shown + " errorCode = " + std::to_string(EINVAL));
    EXPECT_FALSE(files.pathExists(path));
    EXPECT_THAT(recorder->records().at(0).message, testing::StartsWith("Filesystem error checking if path exists '"));
    recorder->clear();
    EXPECT_FALSE(files.isDirectory(path));
    EXPECT_THAT(recorder->records().at(0).message,
                testing::StartsWith("Filesystem error checking if path is directory '"));
    EXPECT_EQ(folder.contentOf("shorter"), "x");
}

TEST_F(LumFileManagerTest, PathsOfFiveThousandBytesGiveAResultAndARecordEach)
{
    const std::string path = folder / std::string(5000, 'a');
    for (const OperationRow& row : operations(path)) {
        SCOPED_TRACE(row.operation);
        row.call();
        const std::vector<LumTests::LogRecord> records = recorder->records();
        recorder->clear();
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].function, "LumStorage::LumFileManager::" + row.operation);
        if (LumTests::StorageFacts::kFilesystemFailsOnLongPaths && !row.failure.empty()) {
            EXPECT_EQ(records[0].level, LumLogLevel::Error);
            EXPECT_THAT(records[0].message, testing::StartsWith(row.failure));
        } else {
            EXPECT_EQ(records[0].level, row.level);
            EXPECT_EQ(records[0].message, row.message);
        }
    }
    EXPECT_TRUE(files.readFileContentWithLock(path, error).empty());
    expectReported(1, "Error opening file '" + path + "' to acquire lock for reading.");
    EXPECT_FALSE(files.writeFileContentWithLock(path, "x", error));
    expectReported(1, "Error opening file '" + path + "' to acquire lock for writing.");
}

TEST_F(LumFileManagerTest, DirectoriesWithNamesOfFiveThousandBytesAreNotMade)
{
    const std::string path = folder / std::string(5000, 'a');
    const auto expectNotMade = [&] {
        expectError("createDirectoriesForPath",
                    "Failed to create directory at " + path + " errorCode = " + std::to_string(ENOENT));
    };
    EXPECT_FALSE(files.createDirectoriesForPath(path));
    expectNotMade();
    EXPECT_FALSE(files.createDirectoriesToFileAtPath(path + "\\file"));
    expectNotMade();
}

TEST_F(LumFileManagerTest, ThrowingLoggerChangesNoResult)
{
    LumFileManager manager(std::make_shared<LumTests::ThrowingLogger>(),
                           std::make_shared<LumStorage::LumStdFilesystemWrapper>());
    EXPECT_FALSE(manager.doesFileExist(folder / "none"));
    EXPECT_FALSE(manager.deleteFile(folder / "none"));
    EXPECT_FALSE(manager.renameFile(folder / "none", folder / "b"));
    EXPECT_TRUE(manager.readFileContent(folder / "none").empty());
    EXPECT_TRUE(manager.writeFileContent(folder / "a", "content")) << "it has been written";
    EXPECT_FALSE(manager.writeFileContent(folder / "none\\a", "content"));
    EXPECT_FALSE(manager.copyFile(folder / "none", folder / "b"));
    EXPECT_EQ(manager.getFileSize(folder / "none"), -1);
    EXPECT_FALSE(manager.createDirectoriesToFileAtPath("none"));
    EXPECT_FALSE(manager.createDirectoriesForPath(folder / "none/none"));
    EXPECT_FALSE(manager.pathExists(folder / "none"));
    EXPECT_FALSE(manager.isDirectory(folder / "a"));
    manager.setErrorAndLog(7, 5, "text", error);
    EXPECT_NE(error, nullptr);
    EXPECT_EQ(asText(manager.readFileContentWithLock(folder / "a", error)), "content");
    EXPECT_EQ(error, nullptr);
    EXPECT_TRUE(manager.writeFileContentWithLock(folder / "a", "new", error));
    EXPECT_FALSE(manager.writeFileContentWithLock(folder / "none\\a", "new", error));
    EXPECT_NE(error, nullptr);
}

TEST_F(LumFileManagerTest, WithoutALoggerOperationsWork)
{
    LumFileManager manager(nullptr);
    EXPECT_TRUE(manager.writeFileContent(folder / "a", "content"));
    EXPECT_FALSE(manager.doesFileExist(folder / "none"));
    EXPECT_FALSE(manager.pathExists(folder / "a"));
    EXPECT_TRUE(manager.readFileContentWithLock(folder / "none\\a", error).empty());
    EXPECT_NE(error, nullptr);
    EXPECT_FALSE(manager.getTempDirectoryPath().empty());
}

TEST_F(LumFileManagerTest, ErrorIsHandedOutAndItsDescriptionLogged)
{
    const auto old = std::make_shared<LumUtils::LumError>("old", 1);
    error = old;
    files.setErrorAndLog(42, 3000000000U, "What happened.", error);
    expectError("setErrorAndLog", "What happened.");
    EXPECT_EQ(old.use_count(), 1) << "the old one is let go";
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->getDescription(),
              "Domain: com.corvan.clientlibs.liblumstorage.error, Code: 42, UserInfo: {LumErrorUnderlyingErrorCode: " +
                  std::to_string(static_cast<std::int32_t>(3000000000U)) +
                  ", LumErrorUnderlyingErrorDescription: What happened.}");
    EXPECT_EQ(error->getUserInfo().size(), 2U);
}

TEST_F(LumFileManagerTest, DescriptionIsTheRecordsFormatWithoutValues)
{
    files.setErrorAndLog(1, 2, "plain text", error);
    EXPECT_EQ(recorder->records().at(0).format, "plain text");
    recorder->clear();
    files.setErrorAndLog(1, 2, "100 % of %s and %n%", error);
    expectError("setErrorAndLog", "100 % of %s and %n%");
    EXPECT_EQ(std::any_cast<std::string>(error->getUserInfo().at("LumErrorUnderlyingErrorDescription")),
              "100 % of %s and %n%");
    const std::string longText(100000, 'd');
    files.setErrorAndLog(1, 2, longText, error);
    expectError("setErrorAndLog", longText);
    files.setErrorAndLog(1, 2, "", error);
    expectError("setErrorAndLog", "");
}

TEST_F(LumFileManagerTest, ErrorThatThereIsNoMemoryForStillHasItsCode)
{
    const std::string description(5000, 'd');
    // Enough for the record, which is short of nothing but the error's copy of the text.
    {
        const LumTests::AllocationLimit limit(4000);
        files.setErrorAndLog(1, 2, description, error);
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->getCode(), 1);
        EXPECT_EQ(error->getUserInfo().size(), 1U);
        EXPECT_EQ(std::any_cast<int>(error->getUserInfo().at("LumErrorUnderlyingErrorCode")),
                  LumTests::StorageFacts::kNoMemory);
        files.setErrorAndLog(1, 2, "short", error);
        EXPECT_EQ(error->getUserInfo().size(), 2U);
    }
    expectError("setErrorAndLog", "short");
}

/// Answers both questions with what a test says.
class ScriptedWrapper : public ILumFilesystemWrapper {
public:
    bool exists(const std::string& path) override { return answer("exists " + path); }
    bool isDirectory(const std::string& path) override { return answer("isDirectory " + path); }

    std::function<bool()> reply = [] { return true; };
    std::vector<std::string> asked;

private:
    bool answer(const std::string& question)
    {
        asked.push_back(question);
        return reply();
    }
};

class FilesystemQueryTest : public LumTests::StorageTest {
protected:
    /// Asks both questions, the second of which is "path is directory" in its messages.
    void expectBoth(LumLogLevel level, const std::string& ofExists, const std::string& ofDirectory)
    {
        EXPECT_FALSE(manager.pathExists("a%sb"));
        expectRecord(level, "pathExists", ofExists);
        EXPECT_FALSE(manager.isDirectory("a%sb"));
        expectRecord(level, "isDirectory", ofDirectory);
    }

    const std::shared_ptr<ScriptedWrapper> wrapper = std::make_shared<ScriptedWrapper>();
    LumFileManager manager{recorder, wrapper};
};

TEST_F(FilesystemQueryTest, WrappersOperationsStandInTheirSlots)
{
    EXPECT_EQ(LumTests::vtableSlot(&ILumFilesystemWrapper::exists), 1U);
    EXPECT_EQ(LumTests::vtableSlot(&ILumFilesystemWrapper::isDirectory), 2U);
    EXPECT_TRUE(std::has_virtual_destructor_v<ILumFilesystemWrapper>);
    EXPECT_TRUE(std::is_abstract_v<ILumFilesystemWrapper>);
}

TEST_F(FilesystemQueryTest, WrappersYesIsReturned)
{
    EXPECT_TRUE(manager.pathExists("a\\b"));
    EXPECT_TRUE(manager.isDirectory(""));
    expectSilent();
    EXPECT_THAT(wrapper->asked, testing::ElementsAre("exists a\\b", "isDirectory "));
}

TEST_F(FilesystemQueryTest, WrappersNoIsLoggedAtInfo)
{
    wrapper->reply = [] { return false; };
    expectBoth(LumLogLevel::Info, "Path does not exist: a%sb", "Path is not a directory: a%sb");
}

TEST_F(FilesystemQueryTest, WithoutAWrapperNothingExists)
{
    LumFileManager bare(recorder);
    const TestFolder folder;
    EXPECT_FALSE(bare.pathExists(folder.path()));
    expectError("pathExists", "Filesystem wrapper not initialized");
    EXPECT_FALSE(bare.isDirectory(folder.path()));
    expectError("isDirectory", "Filesystem wrapper not initialized");
}

TEST_F(FilesystemQueryTest, FilesystemErrorIsCaughtFirst)
{
    const std::filesystem::filesystem_error failure("no %d luck", std::make_error_code(std::errc::io_error));
    wrapper->reply = [&failure]() -> bool { throw failure; };
    expectBoth(LumLogLevel::Error, std::string("Filesystem error checking if path exists 'a%sb': ") + failure.what(),
               std::string("Filesystem error checking if path is directory 'a%sb': ") + failure.what());
}

TEST_F(FilesystemQueryTest, OtherExceptionsAreCaught)
{
    wrapper->reply = []() -> bool { throw std::runtime_error("no %d luck"); };
    expectBoth(LumLogLevel::Error, "Exception checking if path exists 'a%sb': no %d luck",
               "Exception checking if path is directory 'a%sb': no %d luck");
    wrapper->reply = []() -> bool { throw 7; };
    expectBoth(LumLogLevel::Error, "Exception checking if path exists 'a%sb': unknown exception",
               "Exception checking if path is directory 'a%sb': unknown exception");
}

TEST_F(FilesystemQueryTest, StandardWrapperLooksAtTheFileSystem)
{
    const TestFolder folder;
    const std::string file = folder.add("file", "x");
    std::filesystem::create_directory(folder.where() / "sub");
    EXPECT_TRUE(files.pathExists(file));
    EXPECT_TRUE(files.pathExists(folder / "sub"));
    EXPECT_TRUE(files.isDirectory(folder / "sub"));
    expectSilent();
    EXPECT_FALSE(files.isDirectory(file));
    expectRecord(LumLogLevel::Info, "isDirectory", "Path is not a directory: " + file);
    EXPECT_FALSE(files.pathExists(folder / "none"));
    expectRecord(LumLogLevel::Info, "pathExists", "Path does not exist: " + (folder / "none"));
    EXPECT_FALSE(files.isDirectory(folder / "none"));
    expectRecord(LumLogLevel::Info, "isDirectory", "Path is not a directory: " + (folder / "none"));
    EXPECT_FALSE(files.pathExists(""));
    expectRecord(LumLogLevel::Info, "pathExists", "Path does not exist: ");
    EXPECT_FALSE(files.isDirectory(""));
    expectRecord(LumLogLevel::Info, "isDirectory", "Path is not a directory: ");
}

} // namespace
