#include "support/FileMode.h"
#include "support/StorageTest.h"
#include "support/TestFolder.h"

namespace {

using LumTests::asText;

/// What is in files is not for the log, however an operation ends.
class ContentSecretTest : public LumTests::StorageTest {
protected:
    static constexpr const char* kSecret = "s3cret-Marker";

    /// Expects so many records since the last question, none of which holds the secret in any part.
    void expectRecordsWithoutSecret(std::size_t count)
    {
        EXPECT_EQ(recorder->records().size(), count);
        for (const LumTests::LogRecord& record : recorder->records()) {
            EXPECT_EQ((record.file + record.function + record.format + record.message).find(kSecret), std::string::npos)
                << record.message;
        }
        recorder->clear();
    }

    void expectErrorWithoutSecret() const
    {
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->getDescription().find(kSecret), std::string::npos);
    }

    LumTests::TestFolder folder;
    const std::string path = folder / "a";
};

TEST_F(ContentSecretTest, WithALockItIsWrittenAndReadAndNotLogged)
{
    EXPECT_TRUE(files.writeFileContentWithLock(path, kSecret, error));
    EXPECT_EQ(asText(files.readFileContentWithLock(path, error)), kSecret);
    expectRecordsWithoutSecret(2);
}

TEST_F(ContentSecretTest, WithoutALockItIsWrittenCopiedAndReadAndNotLogged)
{
    EXPECT_TRUE(files.writeFileContent(path, kSecret));
    EXPECT_TRUE(files.copyFile(path, folder / "b"));
    EXPECT_EQ(asText(files.readFileContent(folder / "b")), kSecret);
    expectRecordsWithoutSecret(1);
}

TEST_F(ContentSecretTest, AnOperationWithALockThatFailsLogsNoneOfIt)
{
    EXPECT_FALSE(files.writeFileContentWithLock(folder / "none\\a", kSecret, error));
    expectErrorWithoutSecret();
    folder.add("a", kSecret);
    HANDLE const holder = LumTests::openFile(path, {"rw", "-"});
    ASSERT_NE(holder, INVALID_HANDLE_VALUE);
    EXPECT_EQ(asText(files.readFileContentWithLock(path, error)), "");
    expectErrorWithoutSecret();
    EXPECT_FALSE(files.writeFileContentWithLock(path, kSecret, error));
    expectErrorWithoutSecret();
    EXPECT_TRUE(CloseHandle(holder));
    expectRecordsWithoutSecret(3);
}

TEST_F(ContentSecretTest, AReadWhoseLockSomebodyElseHoldsLogsNoneOfIt)
{
    folder.add("a", kSecret);
    HANDLE const holder = LumTests::openFile(path, {"rw", "rw"});
    ASSERT_NE(holder, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(LumTests::lockFile(holder, true));
    EXPECT_EQ(asText(files.readFileContentWithLock(path, error)), "");
    expectErrorWithoutSecret();
    EXPECT_TRUE(CloseHandle(holder));
    expectRecordsWithoutSecret(1);
}

TEST_F(ContentSecretTest, AnOperationWithoutALockThatFailsLogsNoneOfIt)
{
    folder.add("a", kSecret);
    EXPECT_FALSE(files.writeFileContent(folder / "none\\a", kSecret));
    EXPECT_FALSE(files.copyFile(path, folder / "none\\a"));
    EXPECT_EQ(asText(files.readFileContent(folder / "none\\a")), "");
    EXPECT_FALSE(files.renameFile(path, folder.add("b", kSecret)));
    expectRecordsWithoutSecret(4);
}

} // namespace
