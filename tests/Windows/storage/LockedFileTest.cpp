#include "common/storage/LumFileManager.h"

#include "StorageFacts.h"
#include "Windows/storage/FileHandle.h"
#include "support/AllocationLimit.h"
#include "support/FileMode.h"
#include "support/ProcessResources.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

namespace {

using LumStorage::FileHandle;
using LumTests::asText;
using LumUtils::LumLogLevel;

class LockedFileTest : public LumTests::StorageTest {
protected:
    std::string read(const std::string& path) { return asText(files.readFileContentWithLock(path, error)); }

    void expectLogged(const std::string& operation, const std::string& message)
    {
        expectRecord(LumLogLevel::Info, operation, message, LumTests::kLockedFile);
    }

    void expectOpenFailed(const std::string& path, const std::string& purpose)
    {
        expectReported(1, "Error opening file '" + path + "' to acquire lock for " + purpose + ".");
    }

    static FileHandle open(const std::string& path, const LumTests::FileMode& mode)
    {
        return LumStorage::ownedFile(LumTests::openFile(path, mode));
    }

    LumTests::TestFolder folder;
};

TEST_F(LockedFileTest, ContentIsWrittenAndReadByteForByte)
{
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte) {
        everyByte += static_cast<char>(static_cast<unsigned char>(byte));
    }
    for (const std::string& content :
         {everyByte, std::string("\n\r\n\x1A"), std::string(), std::string(3000000, 'x')}) {
        EXPECT_TRUE(files.writeFileContentWithLock(folder / "a", content, error));
        EXPECT_EQ(error, nullptr);
        expectLogged("writeFileContentWithLock", "Successfully wrote content to file '" + (folder / "a") + "'");
        EXPECT_EQ(folder.contentOf("a"), content);
        EXPECT_EQ(read(folder / "a"), content);
        EXPECT_EQ(error, nullptr);
        expectLogged("readFileContentWithLock", "Successfully read content from file '" + (folder / "a") + "'.");
    }
}

TEST_F(LockedFileTest, ReadingWhatDoesNotExistMakesAnEmptyFile)
{
    EXPECT_EQ(read(folder / "new"), "");
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(folder.contentOf("new"), "");
    expectLogged("readFileContentWithLock", "Successfully read content from file '" + (folder / "new") + "'.");
}

TEST_F(LockedFileTest, ShorterContentReplacesALongerOne)
{
    const std::string path = folder.add("a", "a longer content than the new one");
    EXPECT_TRUE(files.writeFileContentWithLock(path, "short", error));
    EXPECT_EQ(folder.contentOf("a"), "short");
}

TEST_F(LockedFileTest, ErrorThatWasLeftThereIsDropped)
{
    files.setErrorAndLog(1, 2, "left over", error);
    EXPECT_TRUE(files.writeFileContentWithLock(folder / "a", "x", error));
    EXPECT_EQ(error, nullptr);
    files.setErrorAndLog(1, 2, "left over", error);
    EXPECT_EQ(read(folder / "a"), "x");
    EXPECT_EQ(error, nullptr);
}

TEST_F(LockedFileTest, WhatCannotBeOpenedIsReported)
{
    std::filesystem::create_directory(folder.where() / "sub%s%n");
    for (const std::string& path : {folder / "none\\a", folder / "sub%s%n", std::string()}) {
        EXPECT_EQ(read(path), "");
        expectOpenFailed(path, "reading");
        EXPECT_FALSE(files.writeFileContentWithLock(path, "x", error));
        expectOpenFailed(path, "writing");
    }
}

TEST_F(LockedFileTest, PathWithANulIsNotTakenForAShorterOne)
{
    const std::string path = folder.add("shorter", "x") + std::string("\0longer", 7);
    EXPECT_EQ(read(path), "");
    expectOpenFailed(path, "reading");
    EXPECT_FALSE(files.writeFileContentWithLock(path, "new", error));
    expectOpenFailed(path, "writing");
    EXPECT_EQ(folder.contentOf("shorter"), "x");
}

TEST_F(LockedFileTest, BytesOfThePathAreWidenedWithTheirSign)
{
    const std::string path = folder / "caf\xE9.txt";
    EXPECT_TRUE(files.writeFileContentWithLock(path, "x", error));
    EXPECT_EQ(read(path), "x");
    const std::filesystem::path widened = folder.where() / std::filesystem::path(u"caf\xFFE9.txt");
    EXPECT_TRUE(std::filesystem::exists(widened)) << "the unit FFE9, whatever the byte means in any character set";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.where()), {}), 1);
}

TEST_F(LockedFileTest, PercentSignsInAPathAreNoFormat)
{
    const std::string path = folder / "100%s%n%";
    EXPECT_TRUE(files.writeFileContentWithLock(path, "%s", error));
    expectLogged("writeFileContentWithLock", "Successfully wrote content to file '" + path + "'");
    EXPECT_EQ(read(path), "%s");
    expectLogged("readFileContentWithLock", "Successfully read content from file '" + path + "'.");
}

TEST_F(LockedFileTest, ReadWhileAWriteHasTheFileOpenFailsAtOnce)
{
    const std::string path = folder.add("a", "x");
    const FileHandle write = open(path, LumTests::kWriteOperation);
    ASSERT_NE(write, nullptr);
    EXPECT_EQ(read(path), "");
    expectOpenFailed(path, "reading");
    EXPECT_FALSE(files.writeFileContentWithLock(path, "y", error));
    expectOpenFailed(path, "writing");
    EXPECT_EQ(folder.contentOf("a"), "x") << "what could not be opened has not been emptied";
}

TEST_F(LockedFileTest, TwoReadsAtTheSameTimeSucceed)
{
    const std::string path = folder.add("a", "x");
    const FileHandle other = open(path, LumTests::kReadOperation);
    ASSERT_NE(other, nullptr);
    ASSERT_TRUE(LumTests::lockFile(other.get(), false));
    EXPECT_EQ(read(path), "x");
    EXPECT_EQ(error, nullptr);
    recorder->clear();
    EXPECT_FALSE(files.writeFileContentWithLock(path, "y", error)) << "the other has write access";
    expectOpenFailed(path, "writing");
}

TEST_F(LockedFileTest, ReadDoesNotWaitForAnExclusiveLock)
{
    const std::string path = folder.add("a", "x");
    const FileHandle other = open(path, LumTests::kReadOperation);
    ASSERT_NE(other, nullptr);
    ASSERT_TRUE(LumTests::lockFile(other.get(), true));
    EXPECT_EQ(read(path), "");
    expectReported(4, "Error locking the file '" + path + "' exclusively.");
    ASSERT_TRUE(LumTests::unlockFile(other.get()));
    EXPECT_EQ(read(path), "x");
}

TEST_F(LockedFileTest, WriteWaitsForTheLock)
{
    const std::string path = folder.add("a", "x");
    FileHandle other = open(path, {"r", "rw"});
    ASSERT_NE(other, nullptr);
    ASSERT_TRUE(LumTests::lockFile(other.get(), false));
    std::atomic<bool> isDone{false};
    std::thread writer([&] {
        EXPECT_TRUE(files.writeFileContentWithLock(path, "new", error));
        isDone = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(isDone);
    EXPECT_TRUE(LumTests::unlockFile(other.get()));
    writer.join();
    other.reset();
    EXPECT_EQ(folder.contentOf("a"), "new");
    expectLogged("writeFileContentWithLock", "Successfully wrote content to file '" + path + "'");
}

TEST_F(LockedFileTest, ContentThatThereIsNoMemoryForIsNotRead)
{
    const std::string path = folder.add("a", std::string(2000000, 'x'));
    {
        const LumTests::AllocationLimit limit(1500000);
        EXPECT_EQ(read(path), "");
    }
    expectReported(5, "Error reading the content from file '" + path + "'.");
    EXPECT_EQ(read(path).size(), 2000000U) << "the file has been unlocked and closed";
}

TEST_F(LockedFileTest, PathThatThereIsNoMemoryForIsNotOpened)
{
    const std::string path = folder / std::string(3000, 'x');
    const LumTests::AllocationLimit limit(2000);
    EXPECT_TRUE(files.readFileContentWithLock(path, error).empty());
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->getCode(), 1);
    expectError("setErrorAndLog", "");
    EXPECT_FALSE(files.writeFileContentWithLock(path, "x", error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->getCode(), 1);
    expectError("setErrorAndLog", "");
}

TEST_F(LockedFileTest, NoHandleStaysOpen)
{
    const std::string path = folder.add("a", "x");
    const auto useEverything = [&] {
        EXPECT_TRUE(files.writeFileContentWithLock(path, "x", error));
        EXPECT_EQ(read(path), "x");
        read(folder.path());
        files.writeFileContentWithLock(folder.path(), "x", error);
        const FileHandle other = open(path, LumTests::kReadOperation);
        LumTests::lockFile(other.get(), true);
        read(path);
        files.readFileContent(path);
        files.writeFileContent(folder / "b", "x");
        files.copyFile(path, folder / "b");
        files.getFileSize(path);
        files.copyFile(folder / "none", folder / "b");
        files.copyFile(path, folder.path());
        files.writeFileContent(LumTests::StorageFacts::kFullDevice, "x");
        files.copyFile(path, LumTests::StorageFacts::kFullDevice);
        files.writeFileContentWithLock(LumTests::StorageFacts::kFullDevice, "x", error);
    };
    useEverything();
    const std::size_t before = LumTests::openDescriptorCount();
    for (int round = 0; round < 20; ++round) {
        useEverything();
    }
    EXPECT_LE(LumTests::openDescriptorCount(), before + 2);
}

TEST_F(LockedFileTest, TemporaryDirectoryEndsInABackslashAndTakesFiles)
{
    const std::string directory = files.getTempDirectoryPath();
    expectSilent();
    ASSERT_FALSE(directory.empty());
    EXPECT_EQ(directory.back(), '\\');
    EXPECT_TRUE(files.isDirectory(directory));
    const std::string path = directory + std::filesystem::path(folder.path()).filename().string() + ".tmp";
    EXPECT_TRUE(files.writeFileContentWithLock(path, "x", error));
    EXPECT_TRUE(files.deleteFile(path));
}

} // namespace
