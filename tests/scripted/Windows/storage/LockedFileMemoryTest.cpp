#include "support/EachAllocationFails.h"
#include "support/ScriptedPlatform.h"
#include "support/StorageTest.h"

#include <functional>
#include <optional>

/// Locked operations whose platform calls fail, without memory on top of that.

namespace {

using LumTests::FailingAllocation;
using Reach = FailingAllocation::Reach;

constexpr const char* kPath = "C:\\a path that is too long for a short string";
const std::string kText = "a text of the system that is too long for a short string";
constexpr DWORD kNumber = 33;

struct FailingCall {
    const char* name;
    int code;
};

class LockedFileMemoryTest : public LumTests::StorageTest, public testing::WithParamInterface<Reach> {
protected:
    std::optional<LumTests::ScriptedPlatform> platform;

    void PrepareFailure(const char* call)
    {
        platform.emplace();
        platform->fileContent = "content";
        platform->texts[kNumber] = kText;
        platform->failCall(call, 1, kNumber);
    }

    void ExpectNothingHeld() const
    {
        EXPECT_EQ(platform->openHandles(), 0U);
        EXPECT_EQ(platform->heldBuffers(), 0);
        EXPECT_TRUE(platform->misuses().empty());
    }

    /// The operation fails with the code of the call, or of the step for which there is no memory before it.
    void ExpectFailure(const FailingCall& call, const std::function<void()>& operation)
    {
        SCOPED_TRACE(call.name);
        PrepareFailure(call.name);
        EXPECT_GT(LumTests::expectEndsWithoutMemory(GetParam(), operation,
                                                    [&](bool hasFailed) {
                                                        ASSERT_NE(error, nullptr);
                                                        const bool isEarlier = hasFailed && error->getCode() == 1;
                                                        EXPECT_TRUE(isEarlier || error->getCode() == call.code);
                                                        ExpectNothingHeld();
                                                        platform.reset();
                                                        PrepareFailure(call.name);
                                                    }),
                  3);
        platform.reset();
    }
};

INSTANTIATE_TEST_SUITE_P(Reaches, LockedFileMemoryTest, testing::Values(Reach::One, Reach::AllThatFollow),
                         [](const auto& reach) { return reach.param == Reach::One ? "One" : "AllThatFollow"; });

TEST_P(LockedFileMemoryTest, AReadThatFailsHasAnErrorAndNoContent)
{
    const std::string path = kPath;
    for (const FailingCall call :
         {FailingCall{"CreateFileW", 1}, {"LockFileEx", 4}, {"GetFileSize", 8}, {"ReadFile", 5}}) {
        std::vector<char> content;
        ExpectFailure(call, [&] { content = files.readFileContentWithLock(path, error); });
        EXPECT_TRUE(content.empty());
    }
}

TEST_P(LockedFileMemoryTest, AWriteThatFailsHasAnError)
{
    const std::string path = kPath;
    for (const FailingCall call : {FailingCall{"CreateFileW", 1},
                                   {"SetFilePointer", 9},
                                   {"SetEndOfFile", 10},
                                   {"LockFileEx", 4},
                                   {"WriteFile", 6},
                                   {"UnlockFileEx", 7}}) {
        bool isDone = true;
        ExpectFailure(call, [&] { isDone = files.writeFileContentWithLock(path, "new", error); });
        EXPECT_FALSE(isDone);
    }
}

TEST_P(LockedFileMemoryTest, WithoutTheSystemsTheTemporaryDirectoryIsStillNamed)
{
    const auto prepare = [&] {
        PrepareFailure("GetTempPathA");
        platform->environment["TEMP"] = "D:\\a directory that is too long for a short string";
    };
    prepare();
    std::string directory;
    EXPECT_GT(LumTests::expectEndsWithoutMemory(
                  GetParam(), [&] { directory = files.getTempDirectoryPath(); },
                  [&](bool hasFailed) {
                      const std::string named = platform->environment["TEMP"] + "\\";
                      EXPECT_TRUE(directory == named || (hasFailed && directory == "C:\\temp\\")) << directory;
                      ExpectNothingHeld();
                      platform.reset();
                      prepare();
                  }),
              3);
}

TEST_P(LockedFileMemoryTest, ATemporaryDirectoryWithALongNameIsThatOrTheUsualOne)
{
    platform.emplace();
    platform->temporaryFolder = "D:\\a directory that is too long for a short string\\";
    std::string directory;
    EXPECT_GT(LumTests::expectEndsWithoutMemory(
                  GetParam(), [&] { directory = files.getTempDirectoryPath(); },
                  [&](bool hasFailed) { EXPECT_EQ(directory, hasFailed ? "C:\\temp\\" : platform->temporaryFolder); }),
              0);
}

} // namespace
