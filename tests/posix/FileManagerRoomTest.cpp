#include "posix/ForkedTest.h"
#include "posix/LittleRoom.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

/// The file manager where a file system is full, and on files that are larger than one call of the system moves.

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

/// A sanitizer keeps books of all memory that is filled.
#ifdef LUM_HAS_SANITIZER
constexpr std::size_t kLarge = std::size_t{64} << 20U;
#else
constexpr std::size_t kLarge = std::size_t{3} << 30U;
#endif

/// Memory that the system could give, in bytes.
std::size_t availableMemory()
{
    std::ifstream list("/proc/meminfo");
    std::string name;
    std::size_t kibibytes = 0;
    while (list >> name && name != "MemAvailable:") {
    }
    list >> kibibytes;
    return kibibytes * 1024;
}

/// A file that holds its offsets at some places, and nothing between them.
class SparseFile {
public:
    explicit SparseFile(const std::string& path)
    {
        std::ofstream file(path, std::ios::binary);
        for (const std::size_t offset : kPlaces) {
            file.seekp(static_cast<std::streamoff>(offset));
            file.write(reinterpret_cast<const char*>(&offset), sizeof(offset));
        }
    }

    static void expectContent(const std::vector<char>& content)
    {
        ASSERT_EQ(content.size(), kLarge);
        for (const std::size_t offset : kPlaces) {
            std::size_t found = 1;
            std::memcpy(&found, content.data() + offset, sizeof(found));
            EXPECT_EQ(found, offset);
        }
        EXPECT_EQ(content[kPlaces[1] + sizeof(std::size_t)], '\0');
    }

private:
    /// One call of the system reads 4 KiB less than 2 GiB.
    static constexpr std::size_t kPlaces[] = {0, kLarge / 3 * 2 - 4096 - 4, kLarge / 3 * 2, kLarge - 8};
};

TEST_F(FileManagerRoomTest, FileOfThreeGibibytesIsReadWhole)
{
    if (availableMemory() < kLarge / 2 * 3) {
        GTEST_SKIP() << "the memory does not allow it";
    }
    const std::string path = folder / "large";
    const SparseFile file(folder.path() + "/large");
    SparseFile::expectContent(files.readFileContent(path));
    SparseFile::expectContent(files.readFileContentWithLock(path, error));
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(files.getFileSize(path), static_cast<std::int64_t>(kLarge));
}

TEST_F(FileManagerRoomTest, FileOfFourGibibytesIsNotReadInPart)
{
    const std::string path = folder.add("large", "");
    constexpr std::uintmax_t kFourGibibytes = std::uintmax_t{1} << 32U;
    for (const std::uintmax_t size : {kFourGibibytes - 1, kFourGibibytes, kFourGibibytes + 7}) {
        std::filesystem::resize_file(folder.where() / "large", size);
        EXPECT_TRUE(files.readFileContentWithLock(path, error).empty());
        expectReported(8, "Error getting file size for '" + path + "'");
        EXPECT_EQ(files.getFileSize(path), static_cast<std::int64_t>(size));
    }
    EXPECT_TRUE(files.writeFileContentWithLock(path, "short", error)) << "it can be replaced";
    EXPECT_EQ(asText(files.readFileContentWithLock(path, error)), "short");
}

} // namespace
