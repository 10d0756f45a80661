#include "platform/LumRuntime.h"
#include "support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

/// The narrow runtime calls do the same on every system, and leave the same errno.

namespace {

using LumTests::ScratchFolder;

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream file(LumPlatform::StreamPath(path), std::ios::binary);
    file << content;
}

std::string readFile(const std::string& path)
{
    std::ifstream file(LumPlatform::StreamPath(path), std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

/// The errno of a call that fails; 0 if it succeeds.
template <typename Call>
int errorOf(Call call)
{
    errno = 0;
    const int result = call();
    EXPECT_TRUE(result == 0 || result == -1);
    return result == 0 ? 0 : errno;
}

int statError(const std::string& path)
{
    return errorOf([&] { return LumPlatform::Stat(path); });
}

class RuntimeContractTest : public testing::Test {
protected:
    ScratchFolder folder;
    const std::string path = folder.file("file.txt");
    const std::string other = folder.file("other.txt");
    const std::string missing = folder.file("missing\\file.txt");
};

TEST_F(RuntimeContractTest, StatFindsFilesAndDirectories)
{
    writeFile(path, "");
    EXPECT_EQ(statError(path), 0);
    EXPECT_EQ(statError(folder.path()), 0);
    EXPECT_EQ(statError(other), ENOENT);
    EXPECT_EQ(statError(missing), ENOENT);
    EXPECT_EQ(statError(""), ENOENT);
}

TEST_F(RuntimeContractTest, APathThroughAFileOrTooLongLeadsNowhere)
{
    writeFile(path, "kept");
    for (const std::string& nowhere : {path + "\\below", path + "\\below\\deeper", folder.file(std::string(256, 'x')),
                                       folder.file(std::string(5000, 'x'))}) {
        SCOPED_TRACE(nowhere);
        EXPECT_EQ(statError(nowhere), ENOENT);
        EXPECT_EQ(errorOf([&] { return LumPlatform::Remove(nowhere); }), ENOENT);
        EXPECT_EQ(errorOf([&] { return LumPlatform::Rename(nowhere, other); }), ENOENT);
        EXPECT_EQ(errorOf([&] { return LumPlatform::Rename(path, nowhere); }), ENOENT);
        EXPECT_EQ(errorOf([&] { return LumPlatform::MakeDirectory(nowhere); }), ENOENT);
    }
    EXPECT_EQ(readFile(path), "kept");
}

TEST_F(RuntimeContractTest, BothSeparatorsLeadToTheSameFile)
{
    writeFile(path, "content");
    EXPECT_EQ(statError(folder.path() + "/file.txt"), 0);
    EXPECT_EQ(readFile(folder.path() + "/file.txt"), "content");
    EXPECT_EQ(readFile(path), "content");
}

TEST_F(RuntimeContractTest, RemoveDeletesAFile)
{
    writeFile(path, "");
    EXPECT_EQ(errorOf([&] { return LumPlatform::Remove(path); }), 0);
    EXPECT_EQ(statError(path), ENOENT);
    EXPECT_EQ(errorOf([&] { return LumPlatform::Remove(path); }), ENOENT);
}

TEST_F(RuntimeContractTest, RemoveLeavesDirectories)
{
    const std::string directory = folder.file("directory");
    ASSERT_EQ(LumPlatform::MakeDirectory(directory), 0);
    EXPECT_NE(errorOf([&] { return LumPlatform::Remove(directory); }), 0);
    EXPECT_EQ(statError(directory), 0);
}

TEST_F(RuntimeContractTest, RenameMovesTheContent)
{
    writeFile(path, "content");
    EXPECT_EQ(errorOf([&] { return LumPlatform::Rename(path, other); }), 0);
    EXPECT_EQ(statError(path), ENOENT);
    EXPECT_EQ(readFile(other), "content");
}

TEST_F(RuntimeContractTest, RenameOverwritesNothing)
{
    writeFile(path, "one");
    writeFile(other, "two");
    EXPECT_EQ(errorOf([&] { return LumPlatform::Rename(path, other); }), EEXIST);
    EXPECT_EQ(readFile(path), "one");
    EXPECT_EQ(readFile(other), "two");
}

TEST_F(RuntimeContractTest, RenameOfNothingFails)
{
    EXPECT_EQ(errorOf([&] { return LumPlatform::Rename(path, other); }), ENOENT);
    writeFile(path, "kept");
    EXPECT_EQ(errorOf([&] { return LumPlatform::Rename(path, missing); }), ENOENT);
    EXPECT_EQ(readFile(path), "kept");
}

TEST_F(RuntimeContractTest, MakeDirectoryMakesOne)
{
    const std::string directory = folder.file("directory");
    EXPECT_EQ(errorOf([&] { return LumPlatform::MakeDirectory(directory); }), 0);
    EXPECT_EQ(errorOf([&] { return LumPlatform::MakeDirectory(directory + "\\inner"); }), 0);
    EXPECT_EQ(statError(directory + "/inner"), 0);
}

TEST_F(RuntimeContractTest, MakeDirectoryTakesNoNameThatIsTaken)
{
    writeFile(path, "");
    EXPECT_EQ(errorOf([&] { return LumPlatform::MakeDirectory(folder.path()); }), EEXIST);
    EXPECT_EQ(errorOf([&] { return LumPlatform::MakeDirectory(path); }), EEXIST);
    EXPECT_EQ(errorOf([&] { return LumPlatform::MakeDirectory(missing); }), ENOENT);
}

TEST_F(RuntimeContractTest, AFileOfMoreThanFourGibibytesIsFound)
{
    {
        std::ofstream file(LumPlatform::StreamPath(path), std::ios::binary);
        file.seekp(std::streamoff{5} << 30U);
        file << 'x';
    }
    EXPECT_EQ(statError(path), 0);
}

TEST(EnvironmentContractTest, AVariableIsReadAsItIs)
{
    EXPECT_EQ(LumPlatform::ReadEnvironment("LUM_TEST_NO_SUCH_VARIABLE"), std::nullopt);
    const std::optional<std::string> path = LumPlatform::ReadEnvironment("PATH");
    ASSERT_TRUE(path);
    EXPECT_EQ(*path, std::getenv("PATH"));
}

} // namespace
