#include "posix/ForkedTest.h"
#include "posix/LittleRoom.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

/// The file manager where a file system is full.

namespace {

using LumTests::asText;

class FileManagerRoomTest : public LumTests::StorageTest {
protected:
    /// Runs expectations in a copy of this process, for what cannot be undone in a process.
    template <typename Expectations>
    static void expectInCopy(Expectations expectations)
    {
        constexpr int kIsSkipped = 2;
        LumTests::Fork copy([&] {
            expectations();
            return HasFailure() ? 1 : IsSkipped() ? kIsSkipped : 0;
        });
        const int result = copy.wait();
        if (result == kIsSkipped) {
            GTEST_SKIP() << "the copy says why";
        }
        EXPECT_EQ(result, 0);
    }

    /// Each operation that writes fails with the system's reason, and the next one that fits succeeds.
    void expectNoRoomFor(const std::string& content, int reason)
    {
        const std::string path = folder / "little\\file";
        const std::string text = std::generic_category().message(reason);
        EXPECT_FALSE(files.writeFileContent(path, content));
        expectError("writeFileContent",
                    "Exception occurred when writing to " + path + ": the content could not be written: " + text);
        EXPECT_TRUE(files.deleteFile(path));
        EXPECT_FALSE(files.copyFile(folder / "large", path));
        expectError("copyFile", "Error occurred during file copy from " + (folder / "large") + " to " + path);
        EXPECT_TRUE(files.deleteFile(path));
        EXPECT_FALSE(files.writeFileContentWithLock(path, content, error));
        expectReported(6, "Error writing the content to file '" + path + "'.", text);
        EXPECT_TRUE(files.writeFileContentWithLock(path, "short", error));
        EXPECT_EQ(asText(files.readFileContentWithLock(path, error)), "short");
    }

    LumTests::TestFolder folder;
};

TEST_F(FileManagerRoomTest, WritesWithoutRoomFailWithTheSystemsReason)
{
    const std::string content(1000000, 'x');
    folder.add("large", content);
    const std::string little = folder.path() + "/little";
    std::filesystem::create_directory(little);
    expectInCopy([&] {
        if (LumTests::mountLittle(little)) {
            expectNoRoomFor(content, ENOSPC);
        } else {
            ASSERT_TRUE(LumTests::limitFiles());
            expectNoRoomFor(content, EFBIG);
        }
    });
}

TEST_F(FileManagerRoomTest, WritesBeyondTheProcesssLimitFail)
{
    const std::string content(1000000, 'x');
    folder.add("large", content);
    std::filesystem::create_directory(folder.where() / "little");
    expectInCopy([&] {
        ASSERT_TRUE(LumTests::limitFiles());
        expectNoRoomFor(content, EFBIG);
    });
}

TEST_F(FileManagerRoomTest, WhereNoMoreFilesFitNoneIsMade)
{
    const std::string little = folder.path() + "/little";
    std::filesystem::create_directory(little);
    expectInCopy([&] {
        if (!LumTests::mountLittle(little)) {
            GTEST_SKIP() << "a process of this user may have no file system of its own";
        }
        std::string chain = folder / "little";
        for (int depth = 0; depth < LumTests::kLittleFiles; ++depth) {
            chain += "\\d";
        }
        EXPECT_FALSE(files.createDirectoriesForPath(chain));
        ASSERT_EQ(recorder->records().size(), 1U);
        EXPECT_THAT(recorder->records()[0].message, testing::EndsWith("\\d errorCode = " + std::to_string(ENOSPC)));
        recorder->clear();
        const std::string path = folder / "little\\file";
        EXPECT_FALSE(files.writeFileContent(path, "x"));
        expectError("writeFileContent", "Error opening file '" + path + "' for writing.");
        const std::string reason = std::generic_category().message(ENOSPC);
        EXPECT_FALSE(files.writeFileContentWithLock(path, "x", error));
        expectReported(1, "Error opening file '" + path + "' to acquire lock for writing.", reason);
        EXPECT_TRUE(files.readFileContentWithLock(path, error).empty());
        expectReported(1, "Error opening file '" + path + "' to acquire lock for reading.", reason);
    });
}

} // namespace
