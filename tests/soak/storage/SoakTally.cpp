#include "soak/storage/SoakTally.h"

namespace LumTests {

namespace {

constexpr std::uint64_t SoakTally::*kCounts[] = {
    &SoakTally::reads,       &SoakTally::writes,     &SoakTally::refusedReads, &SoakTally::refusedWrites,
    &SoakTally::plainWrites, &SoakTally::renames,    &SoakTally::deletions,    &SoakTally::refusedOthers,
    &SoakTally::failures,    &SoakTally::violations, &SoakTally::lost,
};

} // namespace

SoakTally& SoakTally::operator+=(const SoakTally& other)
{
    for (const auto count : kCounts) {
        this->*count += other.*count;
    }
    return *this;
}

std::ostream& operator<<(std::ostream& output, const SoakTally& tally)
{
    for (const auto count : kCounts) {
        output << tally.*count << ' ';
    }
    return output;
}

std::istream& operator>>(std::istream& input, SoakTally& tally)
{
    for (const auto count : kCounts) {
        input >> tally.*count;
    }
    return input;
}

} // namespace LumTests
