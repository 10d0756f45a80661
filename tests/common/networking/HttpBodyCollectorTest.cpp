#include "common/networking/HttpBodyCollector.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

using LumNetworking::HttpBodyCollector;

constexpr std::size_t kMebibyte = std::size_t{1} << 20U;
constexpr std::size_t kChunk = 1000003; // no divisor of any segment

char byteAt(std::size_t position)
{
    return static_cast<char>((position * 31 + position / 251) & 0xFFU);
}

/// Bytes in which every position has a value that a shifted or lost piece would not have.
std::string pattern(std::size_t size)
{
    std::string bytes(size, '\0');
    for (std::size_t position = 0; position < size; ++position) {
        bytes[position] = byteAt(position);
    }
    return bytes;
}

void appendInChunks(HttpBodyCollector& collector, const std::string& body, std::size_t chunk)
{
    for (std::size_t position = 0; position < body.size(); position += chunk) {
        collector.Append(body.data() + position, std::min(chunk, body.size() - position));
    }
}

/// Collects and compares without printing megabytes on failure.
bool collects(HttpBodyCollector& collector, const std::string& body, std::size_t chunk)
{
    appendInChunks(collector, body, chunk);
    return collector.Take() == body;
}

TEST(HttpBodyCollectorTest, NothingAppendedIsAnEmptyBody)
{
    HttpBodyCollector collector;
    EXPECT_EQ(collector.Take(), "");
}

TEST(HttpBodyCollectorTest, UnknownLengthKeepsArrivalOrderAndEveryByte)
{
    HttpBodyCollector collector;
    collector.Append("a\0b", 3);
    collector.Append("", 0);
    collector.Append("\xFF", 1);
    EXPECT_EQ(collector.Take(), std::string("a\0b\xFF", 4));
}

TEST(HttpBodyCollectorTest, TakeLeavesItEmptyAndReadyForAnother)
{
    HttpBodyCollector collector;
    collector.ExpectLength(3);
    collector.Append("abc", 3);
    EXPECT_EQ(collector.Take(), "abc");
    EXPECT_EQ(collector.Take(), "");
    collector.Append("de", 2);
    EXPECT_EQ(collector.Take(), "de");
    EXPECT_EQ(collector.Take(), "");
}

TEST(HttpBodyCollectorTest, TakeLeavesItEmptyAfterSeveralSegments)
{
    HttpBodyCollector collector;
    const std::string body = pattern(90 * kMebibyte);
    EXPECT_TRUE(collects(collector, body, kChunk));
    EXPECT_EQ(collector.Take(), "");
    collector.Append("x", 1);
    EXPECT_EQ(collector.Take(), "x");
}

TEST(HttpBodyCollectorTest, AnnouncedLengthThatIsRight)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, 4 * kMebibyte - 1, 4 * kMebibyte, 4 * kMebibyte + 1,
                                   9 * kMebibyte, 40 * kMebibyte, 41 * kMebibyte + 1}) {
        HttpBodyCollector collector;
        collector.ExpectLength(size);
        EXPECT_TRUE(collects(collector, pattern(size), kChunk)) << size;
    }
}

TEST(HttpBodyCollectorTest, AnnouncedLengthThatIsTooSmall)
{
    for (const std::uint64_t announced : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{5 * kMebibyte}}) {
        HttpBodyCollector collector;
        collector.ExpectLength(announced);
        EXPECT_TRUE(collects(collector, pattern(43 * kMebibyte), kChunk)) << announced;
    }
}

TEST(HttpBodyCollectorTest, AnnouncedLengthThatIsTooLarge)
{
    for (const std::size_t size : {std::size_t{0}, std::size_t{10}, 6 * kMebibyte}) {
        HttpBodyCollector collector;
        collector.ExpectLength(64 * kMebibyte);
        EXPECT_TRUE(collects(collector, pattern(size), kChunk)) << size;
    }
}

TEST(HttpBodyCollectorTest, AnnouncedLengthThatNoMachineHas)
{
    for (const std::uint64_t announced :
         {std::numeric_limits<std::uint64_t>::max(), std::uint64_t{1} << 62U, std::uint64_t{1} << 46U}) {
        HttpBodyCollector collector;
        collector.ExpectLength(announced);
        EXPECT_TRUE(collects(collector, pattern(9 * kMebibyte), kChunk)) << announced;
    }
}

TEST(HttpBodyCollectorTest, FalseAnnouncementReservesLittleBeforeTheBodyComes)
{
    HttpBodyCollector collector;
    collector.ExpectLength(std::uint64_t{1} << 40U);
    collector.Append("x", 1);
    const std::string body = collector.Take();
    EXPECT_EQ(body, "x");
    EXPECT_LE(body.capacity(), 4 * kMebibyte + 64);
}

TEST(HttpBodyCollectorTest, RightAnnouncementHoldsTheBodyInOnePiece)
{
    HttpBodyCollector collector;
    collector.ExpectLength(60 * kMebibyte);
    appendInChunks(collector, pattern(60 * kMebibyte), kChunk);
    const std::string body = collector.Take();
    EXPECT_EQ(body.size(), 60 * kMebibyte);
    EXPECT_LT(body.capacity(), 61 * kMebibyte) << "no doubling";
}

TEST(HttpBodyCollectorTest, EveryByteAroundASegmentBoundaryIsKept)
{
    constexpr std::size_t kSegment = 40 * kMebibyte;
    for (const std::size_t size : {kSegment - 1, kSegment, kSegment + 1, 2 * kSegment, 2 * kSegment + 1}) {
        HttpBodyCollector collector;
        EXPECT_TRUE(collects(collector, pattern(size), 7 * kMebibyte + 13)) << size;
    }
}

TEST(HttpBodyCollectorTest, OneAppendMayCrossSeveralSegments)
{
    HttpBodyCollector collector;
    const std::string body = pattern(130 * kMebibyte);
    EXPECT_TRUE(collects(collector, body, body.size()));
}

TEST(HttpBodyCollectorTest, SmallPiecesAddUp)
{
    HttpBodyCollector collector;
    const std::string body = pattern(300000);
    EXPECT_TRUE(collects(collector, body, 1));
}

} // namespace
