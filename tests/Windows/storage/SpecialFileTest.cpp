#include "StorageFacts.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"

#include <filesystem>
#include <fstream>

namespace {

using LumTests::asText;
using LumUtils::LumLogLevel;
namespace StorageFacts = LumTests::StorageFacts;

/// Devices, files that may not be written, and names that are none.
class SpecialFileTest : public LumTests::StorageTest {
protected:
    void expectNoFileWithLock(const std::string& device)
    {
        EXPECT_TRUE(files.readFileContentWithLock(device, error).empty());
        expectReported(StorageFacts::kDeviceReadCode, StorageFacts::deviceReadText(device));
        EXPECT_FALSE(files.writeFileContentWithLock(device, "x", error));
        expectReported(StorageFacts::kDeviceWriteCode, StorageFacts::deviceWriteText(device));
    }

    void expectUse(const std::string& path)
    {
        EXPECT_TRUE(files.writeFileContent(path, "x"));
        expectRecord(LumLogLevel::Info, "writeFileContent", "Successfully wrote content to file " + path);
        EXPECT_TRUE(files.writeFileContentWithLock(path, "y", error));
        EXPECT_EQ(asText(files.readFileContentWithLock(path, error)), "y");
        EXPECT_EQ(error, nullptr);
        recorder->clear();
        EXPECT_EQ(asText(files.readFileContent(path)), "y");
        EXPECT_TRUE(files.deleteFile(path));
        expectSilent();
        EXPECT_FALSE(files.deleteFile(path));
        expectError("deleteFile", "Error deleting file '" + path + "'");
    }

    void expectRefusal(const std::string& path)
    {
        EXPECT_FALSE(files.writeFileContent(path, "x"));
        expectError("writeFileContent", "Error opening file '" + path + "' for writing.");
        EXPECT_FALSE(files.writeFileContentWithLock(path, "y", error));
        expectReported(1, "Error opening file '" + path + "' to acquire lock for writing.");
        EXPECT_TRUE(files.readFileContentWithLock(path, error).empty());
        expectReported(1, "Error opening file '" + path + "' to acquire lock for reading.");
        EXPECT_TRUE(files.readFileContent(path).empty());
        expectError("readFileContent", "Error opening file '" + path + "' for reading.");
        EXPECT_FALSE(files.deleteFile(path));
        expectError("deleteFile", "Error deleting file '" + path + "'");
        EXPECT_FALSE(files.createDirectoriesForPath(path));
        ASSERT_EQ(recorder->records().size(), 1U);
        EXPECT_THAT(recorder->records()[0].message,
                    testing::StartsWith("Failed to create directory at " + path + " errorCode = "));
        recorder->clear();
    }

    LumTests::TestFolder folder;
};

TEST_F(SpecialFileTest, TheNullDeviceTakesEverythingAndIsNoFile)
{
    const std::string device = StorageFacts::kNullDevice;
    EXPECT_TRUE(files.writeFileContent(device, "content"));
    expectRecord(LumLogLevel::Info, "writeFileContent", "Successfully wrote content to file " + device);
    EXPECT_TRUE(files.copyFile(folder.add("a", "content"), device));
    expectSilent();
    expectNoFileWithLock(device);
}

TEST_F(SpecialFileTest, AFullDeviceFailsTheWrite)
{
    const std::string device = StorageFacts::kFullDevice;
    EXPECT_FALSE(files.writeFileContent(device, "content"));
    const std::vector<LumTests::LogRecord> records = recorder->records();
    recorder->clear();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_THAT(records[0].message, testing::StartsWith("Exception occurred when writing to " + device + ": "));
    EXPECT_THAT(records[0].message, testing::HasSubstr("No space left on device"));
    EXPECT_EQ(records[0].level, LumLogLevel::Error);
    EXPECT_FALSE(files.copyFile(folder.add("a", "content"), device));
    expectError("copyFile", "Error occurred during file copy from " + (folder / "a") + " to " + device);
    expectNoFileWithLock(device);
}

TEST_F(SpecialFileTest, AFileThatIsReadOnlyIsReadAndNotDeletedWhereTheSystemHeedsThat)
{
    const std::string path = folder.add("a", "x");
    std::filesystem::permissions(folder.where() / "a", std::filesystem::perms(0444));
    EXPECT_EQ(asText(files.readFileContent(path)), "x");
    expectSilent();
    // Some users may write whatever they like.
    const bool isWritable = std::ofstream(folder.where() / "a", std::ios::app).is_open();
    EXPECT_EQ(files.writeFileContent(path, "new"), isWritable);
    recorder->clear();
    EXPECT_EQ(files.writeFileContentWithLock(path, "new", error), isWritable);
    if (isWritable) {
        EXPECT_EQ(error, nullptr);
    } else {
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->getCode(), 1);
    }
    EXPECT_EQ(folder.contentOf("a"), isWritable ? "new" : "x");
    recorder->clear();
    EXPECT_EQ(files.deleteFile(path), StorageFacts::kDeletesReadOnlyFiles);
    if (!StorageFacts::kDeletesReadOnlyFiles) {
        expectError("deleteFile", "Error deleting file '" + path + "'");
        std::filesystem::permissions(folder.where() / "a", std::filesystem::perms(0666));
        EXPECT_TRUE(files.deleteFile(path));
    }
    EXPECT_EQ(folder.contentOf("a"), "(none)");
}

TEST_F(SpecialFileTest, UnusualNamesAreTakenOrRefusedAsTheSystemDoes)
{
    for (const char* const name : {"one\ntwo\r", "a<b", "a>b", "a|b", "a?b", "a*b", "a\"b"}) {
        SCOPED_TRACE(name);
        error.reset();
        if (StorageFacts::kTakesAnyName) {
            expectUse(folder / name);
        } else {
            expectRefusal(folder / name);
        }
    }
}

} // namespace
