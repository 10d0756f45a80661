#pragma once

#include "common/storage/LumFileManager.h"
#include "soak/storage/SoakTally.h"

#include <chrono>
#include <random>
#include <string>

namespace LumTests {

/// One of the processes that read and write a file with the locked operations.
class SoakWorker {
public:
    /// The seed makes its sizes, its pauses and its contents.
    SoakWorker(std::string filePath, std::uint64_t seed);

    /// Reads, or writes, again and again for that time.
    SoakTally Run(bool isWriter, std::chrono::seconds duration);

    /// Writes a content once; whether that succeeded.
    bool Prepare();

private:
    void Read();
    void Write();
    void Count(const LumUtils::ILumError& error, std::uint64_t& refusals);
    void Pause();
    std::string NextContent();

    const std::string path;
    std::mt19937_64 random;
    LumStorage::LumFileManager files{nullptr};
    SoakTally tally;
};

} // namespace LumTests
