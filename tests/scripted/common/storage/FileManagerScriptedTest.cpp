#include "support/ScriptedPlatform.h"
#include "support/StorageTest.h"

#include <cerrno>

namespace {

using LumTests::asText;
using LumUtils::LumLogLevel;
using testing::ElementsAre;

/// The calls of the runtime, each failing as a test says.
class FileManagerScriptedTest : public LumTests::StorageTest {
protected:
    ~FileManagerScriptedTest() override
    {
        EXPECT_EQ(platform.calls("CloseStream").size(), openedStreams()) << "all streams are closed";
    }

    std::size_t openedStreams() const { return platform.calls("OpenStream").size() - failedOpens; }

    void failOpen(int number, DWORD code)
    {
        platform.failCall("OpenStream", number, code);
        ++failedOpens;
    }

    LumTests::ScriptedPlatform platform;
    std::size_t failedOpens = 0;
};

TEST_F(FileManagerScriptedTest, FailedCheckIsToldByItsReason)
{
    platform.failCall("Stat", 1, ENOENT);
    EXPECT_FALSE(files.doesFileExist("C:\\a%s"));
    expectError("doesFileExist", "File does not exist: C:\\a%s");
    platform.failCall("Stat", 2, EACCES);
    EXPECT_FALSE(files.doesFileExist("C:\\a%s"));
    expectError("doesFileExist", "Access denied to file: C:\\a%s");
    int number = 3;
    for (const int code : {EIO, EINVAL, ENAMETOOLONG, ENOTDIR, ELOOP}) {
        platform.failCall("Stat", number++, static_cast<DWORD>(code));
        EXPECT_FALSE(files.doesFileExist("C:\\a%s"));
        expectError("doesFileExist", "Error checking file existence");
    }
    EXPECT_THAT(platform.calls("Stat(").front(), "Stat(\"C:\\a%s\")");
}

TEST_F(FileManagerScriptedTest, PathsReachTheRuntimeAsTheyAre)
{
    platform.existing = {"C:/a\\\\b"};
    EXPECT_TRUE(files.doesFileExist("C:/a\\\\b"));
    EXPECT_TRUE(files.deleteFile("\\\\server\\\xE9"));
    EXPECT_TRUE(files.renameFile("a b", "..\\c."));
    EXPECT_THAT(platform.calls(""),
                ElementsAre("Stat(\"C:/a\\\\b\")", "Remove(\"\\\\server\\\\u00E9\")", "Rename(\"a b\", \"..\\c.\")"));
    expectSilent();
}

TEST_F(FileManagerScriptedTest, FailedDeleteAndRenameAreLogged)
{
    platform.failCall("Remove", 1, EACCES);
    EXPECT_FALSE(files.deleteFile("a"));
    expectError("deleteFile", "Error deleting file 'a'");
    platform.failCall("Rename", 1, EEXIST);
    EXPECT_FALSE(files.renameFile("a", "b"));
    expectError("renameFile", "Error renaming file from 'a' to 'b'");
}

TEST_F(FileManagerScriptedTest, WholeFileIsReadInBinary)
{
    platform.fileContent = std::string(1500000, 'x') + "end";
    EXPECT_EQ(asText(files.readFileContent("a")), platform.fileContent);
    EXPECT_THAT(platform.calls("OpenStream"), ElementsAre("OpenStream(\"a\", read)"));
    expectSilent();
}

TEST_F(FileManagerScriptedTest, ReadFailsWithItsStream)
{
    platform.fileContent = std::string(1500000, 'x');
    failOpen(1, EMFILE);
    EXPECT_TRUE(files.readFileContent("a").empty());
    expectError("readFileContent", "Error opening file 'a' for reading.");
    platform.failCall("StreamSize", 1, EOVERFLOW);
    EXPECT_TRUE(files.readFileContent("a").empty());
    expectError("readFileContent", "Error reading file 'a'.");
    platform.failCall("ReadStream", 2, EIO);
    EXPECT_TRUE(files.readFileContent("a").empty()) << "what came before is no content";
    expectError("readFileContent", "Error reading file 'a'.");
    platform.missingBytes = 1;
    EXPECT_TRUE(files.readFileContent("a").empty()) << "the file has become shorter";
    expectError("readFileContent", "Error reading file 'a'.");
}

TEST_F(FileManagerScriptedTest, WriteIsTextAndFailsWithItsStream)
{
    EXPECT_TRUE(files.writeFileContent("a", "content"));
    EXPECT_THAT(platform.calls(""), ElementsAre("OpenStream(\"a\", write text)", "WriteStream(7)", "CloseStream()"))
        << "closed before the success is told";
    expectRecord(LumLogLevel::Info, "writeFileContent", "Successfully wrote content to file a");
    failOpen(2, EACCES);
    EXPECT_FALSE(files.writeFileContent("a", "content"));
    expectError("writeFileContent", "Error opening file 'a' for writing.");
    platform.failCall("WriteStream", 2, ENOSPC);
    EXPECT_FALSE(files.writeFileContent("%s", "content"));
    expectError("writeFileContent", "Exception occurred when writing to %s: the content could not be written: " +
                                        std::generic_category().message(ENOSPC));
    platform.failCall("CloseStream", 3, EDQUOT);
    EXPECT_FALSE(files.writeFileContent("a", "content"));
    expectError("writeFileContent", "Exception occurred when writing to a: the content could not be written: " +
                                        std::generic_category().message(EDQUOT));
}

TEST_F(FileManagerScriptedTest, CopyOpensBothAndFailsWithEither)
{
    platform.fileContent = "content";
    EXPECT_TRUE(files.copyFile("a", "b"));
    EXPECT_THAT(platform.calls("OpenStream"), ElementsAre("OpenStream(\"a\", read)", "OpenStream(\"b\", write)"));
    expectSilent();
    failOpen(3, ENOENT);
    EXPECT_FALSE(files.copyFile("a", "b"));
    expectError("copyFile", "Failed to open source file a");
    EXPECT_EQ(platform.calls("OpenStream").size(), 4U) << "the destination was opened nevertheless";
    failOpen(6, ENOENT);
    EXPECT_FALSE(files.copyFile("a", "b"));
    expectError("copyFile", "Failed to open destination file b");
    const std::string failed = "Error occurred during file copy from a to b";
    platform.failCall("ReadStream", 3, EIO);
    EXPECT_FALSE(files.copyFile("a", "b"));
    expectError("copyFile", failed);
    platform.failCall("WriteStream", 2, ENOSPC);
    EXPECT_FALSE(files.copyFile("a", "b"));
    expectError("copyFile", failed);
    // The destination of the first copy was closed first, then its source; the second copy's destination third.
    platform.failCall("CloseStream", static_cast<int>(platform.calls("CloseStream").size()) + 1, EDQUOT);
    EXPECT_FALSE(files.copyFile("a", "b"));
    expectError("copyFile", failed);
}

TEST_F(FileManagerScriptedTest, SizeThatCannotBeToldIsMinusOne)
{
    failOpen(1, EACCES);
    EXPECT_EQ(files.getFileSize("a"), -1);
    expectError("getFileSize", "Failed to open file a");
    platform.failCall("StreamSize", 1, EOVERFLOW);
    EXPECT_EQ(files.getFileSize("a"), -1);
    expectError("getFileSize", "Error occurred getting size for file a");
    EXPECT_EQ(files.getFileSize("a"), 0) << "an empty file";
    expectSilent();
}

TEST_F(FileManagerScriptedTest, DirectoriesOnADriveAreMadeFromTheFirstToTheLast)
{
    EXPECT_TRUE(files.createDirectoriesToFileAtPath("C:\\one\\two\\file.txt"));
    EXPECT_THAT(platform.calls(""), ElementsAre("Stat(\"C:\")", "Stat(\"C:\\one\")", "MakeDirectory(\"C:\\one\")",
                                                "Stat(\"C:\\one\\two\")", "MakeDirectory(\"C:\\one\\two\")"))
        << "the drive is never made";
    expectSilent();
}

TEST_F(FileManagerScriptedTest, DirectoriesThatAreThereAreNotMade)
{
    platform.existing = {"C:", "C:\\one"};
    EXPECT_TRUE(files.createDirectoriesForPath("C:\\one\\two"));
    EXPECT_THAT(platform.calls("MakeDirectory"), ElementsAre("MakeDirectory(\"C:\\one\\two\")"));
    EXPECT_TRUE(files.createDirectoriesForPath("C:\\one\\two"));
    EXPECT_EQ(platform.countOf("MakeDirectory"), 1);
    expectSilent();
}

TEST_F(FileManagerScriptedTest, EmptyTokensAreSkipped)
{
    EXPECT_TRUE(files.createDirectoriesForPath("\\\\server\\\\share\\"));
    EXPECT_THAT(platform.calls("MakeDirectory"),
                ElementsAre("MakeDirectory(\"server\")", "MakeDirectory(\"server\\share\")"));
    EXPECT_TRUE(files.createDirectoriesForPath(""));
    EXPECT_TRUE(files.createDirectoriesForPath("\\"));
    EXPECT_EQ(platform.countOf("Stat"), 2);
}

TEST_F(FileManagerScriptedTest, SlashesStayInTheirToken)
{
    EXPECT_TRUE(files.createDirectoriesForPath("one/two/three"));
    EXPECT_THAT(platform.calls("MakeDirectory"), ElementsAre("MakeDirectory(\"one/two/three\")"));
    EXPECT_TRUE(files.createDirectoriesForPath("a:\\b:\\c"));
    EXPECT_THAT(platform.calls("MakeDirectory").back(), "MakeDirectory(\"a:\\b:\\c\")")
        << "whatever ends with a colon is a drive";
    EXPECT_EQ(platform.countOf("MakeDirectory"), 2);
}

TEST_F(FileManagerScriptedTest, DirectoryThatSomebodyElseMadeIsThere)
{
    platform.failCall("MakeDirectory", 1, EEXIST);
    EXPECT_TRUE(files.createDirectoriesForPath("one\\two"));
    EXPECT_EQ(platform.countOf("MakeDirectory"), 2);
    expectSilent();
}

TEST_F(FileManagerScriptedTest, DirectoryThatCannotBeMadeEndsTheChain)
{
    platform.failCall("MakeDirectory", 2, EACCES);
    EXPECT_FALSE(files.createDirectoriesForPath("one\\%s\\three"));
    expectError("createDirectoriesForPath", "Failed to create directory at one\\%s errorCode = 13");
    EXPECT_EQ(platform.countOf("MakeDirectory"), 2);
}

} // namespace
