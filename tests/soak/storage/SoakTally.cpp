#include "soak/storage/SoakTally.h"

namespace LumTests {

SoakTally& SoakTally::operator+=(const SoakTally& other)
{
    reads += other.reads;
    writes += other.writes;
    refusedReads += other.refusedReads;
    refusedWrites += other.refusedWrites;
    failures += other.failures;
    violations += other.violations;
    return *this;
}

std::ostream& operator<<(std::ostream& output, const SoakTally& tally)
{
    return output << tally.reads << ' ' << tally.writes << ' ' << tally.refusedReads << ' ' << tally.refusedWrites
                  << ' ' << tally.failures << ' ' << tally.violations;
}

std::istream& operator>>(std::istream& input, SoakTally& tally)
{
    return input >> tally.reads >> tally.writes >> tally.refusedReads >> tally.refusedWrites >> tally.failures >>
           tally.violations;
}

} // namespace LumTests
