#include "PlatformQuirks.h"
#include "StorageFacts.h"
#include "support/ProcessResources.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"

#include <any>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace {

using LumTests::asText;

/// A sanitizer keeps books of all memory that is filled.
#ifdef LUM_HAS_SANITIZER
constexpr std::size_t kLarge = std::size_t{64} << 20U;
#else
constexpr std::size_t kLarge = LumTests::Quirks::kLargeFile;
#endif

/// A vector takes half of the addresses at most.
constexpr bool kProcessCanHoldIt = kLarge <= SIZE_MAX / 2;

/// Files that are larger than one call of the system moves, or than a size can tell.
class LargeFileTest : public LumTests::StorageTest {
protected:
    /// The file has been refused, as it is too large to have a size.
    void expectNoSize()
    {
        expectReported(8, "Error getting file size for '" + path + "'");
        EXPECT_EQ(std::any_cast<int>(error->getUserInfo().at("LumErrorUnderlyingErrorCode")),
                  static_cast<int>(LumTests::StorageFacts::kErrorOfNoSize));
    }

    void resize(std::uintmax_t size) const { std::filesystem::resize_file(folder.where() / "large", size); }

    LumTests::TestFolder folder;
    const std::string path = folder.add("large", "");
};

/// A file that holds its offsets at some places, and nothing between them.
class SparseFile {
public:
    explicit SparseFile(const std::filesystem::path& path)
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
    /// One call of Linux reads 4 KiB less than 2 GiB.
    static constexpr std::size_t kPlaces[] = {0, kLarge / 3 * 2 - 4096 - 4, kLarge / 3 * 2,
                                              kLarge - sizeof(std::size_t)};
};

TEST_F(LargeFileTest, ALargeFileIsReadWholeWhereAProcessCanHoldIt)
{
    const SparseFile file(folder.where() / "large");
    EXPECT_EQ(files.getFileSize(path), static_cast<std::int64_t>(kLarge));
    expectSilent();
    if (!kProcessCanHoldIt) {
        EXPECT_TRUE(files.readFileContent(path).empty());
        expectError("readFileContent", "Error reading file '" + path + "'.");
        EXPECT_TRUE(files.readFileContentWithLock(path, error).empty());
        expectReported(5, "Error reading the content from file '" + path + "'.");
        return;
    }
    if (LumTests::availableMemory() < kLarge / 2 * 3) {
        GTEST_SKIP() << "the memory does not allow it";
    }
    SparseFile::expectContent(files.readFileContent(path));
    SparseFile::expectContent(files.readFileContentWithLock(path, error));
    EXPECT_EQ(error, nullptr);
}

TEST_F(LargeFileTest, TheSizeThatMeansFailureIsRefused)
{
    resize(0xFFFFFFFF);
    EXPECT_TRUE(files.readFileContentWithLock(path, error).empty());
    expectNoSize();
    EXPECT_EQ(files.getFileSize(path), 0xFFFFFFFF);
}

TEST_F(LargeFileTest, FilesOfFourGibibytesAreRefusedOrReadUpToTheLowerHalfOfTheirSize)
{
    constexpr std::uintmax_t kFourGibibytes = std::uintmax_t{1} << 32U;
    for (const std::size_t excess : {0U, 7U}) {
        resize(kFourGibibytes + excess);
        const std::vector<char> content = files.readFileContentWithLock(path, error);
        if (LumTests::StorageFacts::kRefusesLargeSizes) {
            EXPECT_TRUE(content.empty());
            expectNoSize();
        } else {
            EXPECT_EQ(error, nullptr);
            EXPECT_EQ(asText(content), std::string(excess, '\0')) << "hosts ask for the size before";
        }
        EXPECT_EQ(files.getFileSize(path), static_cast<std::int64_t>(kFourGibibytes + excess));
    }
    EXPECT_TRUE(files.writeFileContentWithLock(path, "short", error)) << "it can be replaced";
    EXPECT_EQ(asText(files.readFileContentWithLock(path, error)), "short");
}

} // namespace
