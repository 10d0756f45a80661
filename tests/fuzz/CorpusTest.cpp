#include "PlatformQuirks.h"
#include "fuzz/FuzzTargets.h"
#include "support/ProcessResources.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

/// Runs every seed through its target. Each program has the targets that its platform is for.

namespace {

using LumFuzz::NamedTarget;

constexpr NamedTarget kTargets[] = {LUM_FUZZ_TARGETS};

/// The fewest seeds that are worth starting from.
constexpr std::size_t kFewestSeeds = 6;

std::vector<std::filesystem::path> seedsOf(const NamedTarget& target)
{
    std::vector<std::filesystem::path> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(std::string(LUM_FUZZ_CORPUS "/") + target.name)) {
        seeds.push_back(entry.path());
    }
    std::sort(seeds.begin(), seeds.end());
    return seeds;
}

std::string contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

/// Looks now and then only: the counts of some platforms keep all others waiting.
bool comesDownTo(std::size_t most, std::size_t (*count)())
{
    constexpr std::chrono::milliseconds kBetween{20};
    for (int looks = 0; looks < 500 && count() > most; ++looks) {
        std::this_thread::sleep_for(kBetween);
    }
    return count() <= most;
}

class CorpusTest : public testing::TestWithParam<NamedTarget> {};

std::string nameOf(const testing::TestParamInfo<NamedTarget>& target)
{
    return target.param.name;
}

INSTANTIATE_TEST_SUITE_P(Targets, CorpusTest, testing::ValuesIn(kTargets), nameOf);

TEST_P(CorpusTest, NoSeedBreaksAPromise)
{
    const std::vector<std::filesystem::path> seeds = seedsOf(GetParam());
    EXPECT_GE(seeds.size(), kFewestSeeds);
    for (const std::filesystem::path& seed : seeds) {
        SCOPED_TRACE(seed.filename().string());
        EXPECT_NO_THROW(GetParam().run(contentOf(seed)));
    }
}

TEST_P(CorpusTest, NoSeedLeavesAnythingOpen)
{
    // Far more often than handles may be kept, so that one for each time is seen.
    constexpr std::size_t kTimes = LumTests::Quirks::kDescriptorSlack + 20;
    for (const std::filesystem::path& seed : seedsOf(GetParam())) {
        SCOPED_TRACE(seed.filename().string());
        const std::string content = contentOf(seed);
        ASSERT_NO_THROW(GetParam().run(content));
        const std::size_t before = LumTests::openDescriptorCount();
        for (std::size_t time = 0; time < kTimes; ++time) {
            ASSERT_NO_THROW(GetParam().run(content));
        }
        EXPECT_TRUE(comesDownTo(before + LumTests::Quirks::kDescriptorSlack, LumTests::openDescriptorCount))
            << before << " handles were open, and " << LumTests::openDescriptorCount() << " are now";
    }
}

TEST_P(CorpusTest, NoBeginningOfASeedBreaksAPromise)
{
    for (const std::filesystem::path& seed : seedsOf(GetParam())) {
        const std::string content = contentOf(seed);
        // Long seeds in few steps.
        const std::size_t step = 1 + content.size() / 64;
        for (std::size_t length = 0; length < content.size(); length += step) {
            SCOPED_TRACE(seed.filename().string() + ", " + std::to_string(length) + " bytes");
            EXPECT_NO_THROW(GetParam().run(content.substr(0, length)));
        }
    }
}

} // namespace
