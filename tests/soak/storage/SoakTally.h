#pragma once

#include <cstdint>
#include <istream>
#include <ostream>

namespace LumTests {

/// What came of the locked operations of one process, or of all.
struct SoakTally {
    std::uint64_t reads = 0;
    std::uint64_t writes = 0;

    /// Refused because another had the file open, or held a lock.
    std::uint64_t refusedReads = 0;
    std::uint64_t refusedWrites = 0;

    /// Failed in any other way.
    std::uint64_t failures = 0;

    /// Read without an error, and not whole.
    std::uint64_t violations = 0;

    SoakTally& operator+=(const SoakTally& other);

    std::uint64_t opens() const { return reads + writes + refusedReads + refusedWrites + failures + violations; }

    /// Whether both readers and writers got through, and nothing happened that must not.
    bool isGood() const { return reads > 0 && writes > 0 && failures == 0 && violations == 0; }
};

/// In one line, for another process.
std::ostream& operator<<(std::ostream& output, const SoakTally& tally);
std::istream& operator>>(std::istream& input, SoakTally& tally);

} // namespace LumTests
