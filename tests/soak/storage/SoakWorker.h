#pragma once

#include "common/storage/LumFileManager.h"
#include "soak/storage/SoakTally.h"

#include <chrono>
#include <memory>
#include <random>
#include <string>

namespace LumTests {

/// What a process does with the file, again and again.
enum class SoakRole {
    /// With a lock, on a file that nobody uses otherwise: whatever is read is whole.
    Read,
    Write,

    /// With a lock, beside those that follow. A write looks, while it has the file open, whether its content is there.
    ReadBesideOthers,
    WriteBesideOthers,

    /// Without a lock.
    PlainRead,
    PlainWrite,

    /// Gives the file a name of its own, looks whether the content is whole and stays, and gives it its name back.
    Rename,
    Delete
};

/// One of the processes that use a file.
class SoakWorker {
public:
    /// The number, of which each worker has another, makes its sizes, its pauses and its contents.
    SoakWorker(std::string filePath, unsigned int workerNumber);

    SoakTally Run(SoakRole role, std::chrono::seconds duration);

    /// Writes a content once; whether that succeeded.
    bool Prepare();

    /// Whether the file, which nobody uses any more, holds a whole content, or nothing, or is not there.
    bool IsWholeAtRest();

private:
    void Act(SoakRole role);
    void Read(bool isAlone);
    void Write(LumStorage::LumFileManager& writer, const std::string& content);
    void WriteAndLook();
    void Rename();
    void CountOther(bool isDone, std::uint64_t& done);
    void Count(const LumUtils::ILumError& error, std::uint64_t& refusals, bool mayBeShort);
    void Pause();
    std::string NextContent();

    const std::string path;
    const unsigned int number;
    std::mt19937_64 random;
    LumStorage::LumFileManager files{nullptr};
    SoakTally tally;
};

} // namespace LumTests
