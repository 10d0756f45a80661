#pragma once

#include <cstdint>
#include <istream>
#include <ostream>

namespace LumTests {

/// What came of the operations of one process, or of all.
struct SoakTally {
    /// With a lock.
    std::uint64_t reads = 0;
    std::uint64_t writes = 0;

    /// Refused because another had the file open, or held a lock.
    std::uint64_t refusedReads = 0;
    std::uint64_t refusedWrites = 0;

    /// Writes without a lock, and names taken away.
    std::uint64_t plainWrites = 0;
    std::uint64_t renames = 0;
    std::uint64_t deletions = 0;
    std::uint64_t refusedOthers = 0;

    /// Failed in any other way.
    std::uint64_t failures = 0;

    /// Read without an error, and not whole.
    std::uint64_t violations = 0;

    /// Contents that were not where they were written to while the write had the file open, or that changed or
    /// were gone after their file had been given another name.
    std::uint64_t lost = 0;

    SoakTally& operator+=(const SoakTally& other);

    /// Whether everybody got through, and nothing happened that must not.
    bool isGood() const
    {
        return reads > 0 && writes > 0 && plainWrites > 0 && renames > 0 && deletions > 0 && failures == 0 &&
               violations == 0 && lost == 0;
    }
};

/// In one line, for another process.
std::ostream& operator<<(std::ostream& output, const SoakTally& tally);
std::istream& operator>>(std::istream& input, SoakTally& tally);

} // namespace LumTests
