#include "fuzz/FuzzTargets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

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
