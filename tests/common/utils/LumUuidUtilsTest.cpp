#include "common/utils/LumUuidUtils.h"

#include "common/utils/LumUuidTemplate.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using LumUtils::fillUuidTemplate;
using LumUtils::generateUuid;

const std::string kDigits = "0123456789abcdef";

bool isUuid(const std::string& text)
{
    if (text.size() != 36) {
        return false;
    }
    for (std::size_t index = 0; index < text.size(); ++index) {
        const bool isDash = index == 8 || index == 13 || index == 18 || index == 23;
        const std::string allowed = isDash ? "-" : index == 14 ? "4" : index == 19 ? "89ab" : kDigits;
        if (allowed.find(text[index]) == std::string::npos) {
            return false;
        }
    }
    return true;
}

/// Gives the values one after the other.
struct Counter {
    std::uint32_t operator()() { return static_cast<std::uint32_t>(calls++ % 16) << 28U | 0x0FFFFFFFU; }
    std::size_t calls = 0;
};

TEST(LumUuidUtilsTest, AUuidHasItsDashesVersionAndVariantAndLowerCaseDigits)
{
    for (int round = 0; round < 1000; ++round) {
        const std::string uuid = generateUuid();
        EXPECT_TRUE(isUuid(uuid)) << uuid;
    }
}

TEST(LumUuidUtilsTest, TheDigitsAreTheTopBitsOf31OutputsInTheirOrder)
{
    Counter engine;
    // 31 values from 0 on; the sixteenth, 15, is the variant.
    EXPECT_EQ(fillUuidTemplate(engine), "01234567-89ab-4cde-b012-3456789abcde");
    EXPECT_EQ(engine.calls, 31U);
}

TEST(LumUuidUtilsTest, ASeededEngineGivesTheKnownUuid)
{
    const std::pair<std::uint32_t, const char*> rows[] = {{5489, "d2ed2fe3-a418-4438-bfff-f2bfff17cc42"},
                                                          {1, "6fbe024f-2316-4265-a6e8-d65a837e308a"},
                                                          {0xFFFFFFFF, "11e9c8cc-04f8-49b2-be28-afd6c5724e6d"}};
    for (const auto& [seed, uuid] : rows) {
        std::mt19937 engine(seed);
        EXPECT_EQ(fillUuidTemplate(engine), uuid);
        std::mt19937 expected(seed);
        expected.discard(31);
        EXPECT_EQ(engine, expected) << "31 outputs, no more";
    }
}

TEST(LumUuidUtilsTest, TwoUuidsInARowDiffer)
{
    EXPECT_NE(generateUuid(), generateUuid());
}

TEST(LumUuidUtilsTest, UuidsRepeatThemselvesNoMoreThanTheirSeedsMust)
{
    std::set<std::string> uuids;
    for (int round = 0; round < 20000; ++round) {
        uuids.insert(generateUuid());
    }
    // Of 20,000 seeds of 32 bits two are the same in one run of 21, and four pairs in one of five million.
    EXPECT_GE(uuids.size(), 19996U);
}

TEST(LumUuidUtilsTest, EveryDigitIsAsFrequentAsAnyOther)
{
    constexpr int kUuids = 4096;
    std::vector<std::array<int, 16>> counts(36);
    for (int round = 0; round < kUuids; ++round) {
        const std::string uuid = generateUuid();
        for (std::size_t index = 0; index < uuid.size(); ++index) {
            if (uuid[index] != '-') {
                ++counts[index][kDigits.find(uuid[index])];
            }
        }
    }
    for (std::size_t index = 0; index < counts.size(); ++index) {
        if (index == 8 || index == 13 || index == 14 || index == 18 || index == 23) {
            continue;
        }
        const std::size_t first = index == 19 ? 8 : 0;
        const std::size_t digits = index == 19 ? 4 : 16;
        const double expected = static_cast<double>(kUuids) / static_cast<double>(digits);
        double deviation = 0;
        for (std::size_t digit = first; digit < first + digits; ++digit) {
            const double difference = counts[index][digit] - expected;
            deviation += difference * difference / expected;
        }
        // Chance exceeds this once in ten thousand million runs, a digit that is 1.5 times as frequent nearly always.
        EXPECT_LT(deviation, 80) << "at " << index;
    }
}

TEST(LumUuidUtilsTest, EightThreadsGenerateAtOnce)
{
    std::mutex mutex;
    std::set<std::string> uuids;
    std::vector<std::thread> threads;
    for (int index = 0; index < 8; ++index) {
        threads.emplace_back([&] {
            for (int round = 0; round < 100; ++round) {
                const std::string uuid = generateUuid();
                const std::lock_guard<std::mutex> lock(mutex);
                EXPECT_TRUE(isUuid(uuid)) << uuid;
                uuids.insert(uuid);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    // Of 800 seeds of 32 bits two are the same once in 13,000 runs.
    EXPECT_GE(uuids.size(), 799U);
}

} // namespace
