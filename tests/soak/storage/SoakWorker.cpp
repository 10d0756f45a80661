#include "soak/storage/SoakWorker.h"

#include "common/storage/LumStorageError.h"
#include "soak/storage/WholeContent.h"

#include <iostream>
#include <thread>

namespace LumTests {

namespace {

using Clock = std::chrono::steady_clock;
using ErrorPointer = std::shared_ptr<LumUtils::ILumError>;

} // namespace

SoakWorker::SoakWorker(std::string filePath, std::uint64_t seed) : path(std::move(filePath)), random(seed) {}

SoakTally SoakWorker::Run(bool isWriter, std::chrono::seconds duration)
{
    const Clock::time_point end = Clock::now() + duration;
    while (Clock::now() < end) {
        isWriter ? Write() : Read();
        Pause();
    }
    return tally;
}

bool SoakWorker::Prepare()
{
    ErrorPointer error;
    return files.writeFileContentWithLock(path, NextContent(), error);
}

void SoakWorker::Read()
{
    ErrorPointer error;
    const std::vector<char> content = files.readFileContentWithLock(path, error);
    if (error) {
        Count(*error, tally.refusedReads);
    } else if (WholeContent::isWhole(content)) {
        ++tally.reads;
    } else {
        ++tally.violations;
        std::cerr << "not whole: " << content.size() << " bytes\n";
    }
}

void SoakWorker::Write()
{
    ErrorPointer error;
    if (files.writeFileContentWithLock(path, NextContent(), error)) {
        ++tally.writes;
    } else {
        Count(*error, tally.refusedWrites);
    }
}

void SoakWorker::Count(const LumUtils::ILumError& error, std::uint64_t& refusals)
{
    const int code = error.getCode();
    if (code == LumStorage::LumStorageErrorCode::kOpenFailed || code == LumStorage::LumStorageErrorCode::kLockFailed) {
        ++refusals;
        return;
    }
    ++tally.failures;
    std::cerr << error.getDescription() << '\n';
}

void SoakWorker::Pause()
{
    // Now and then long enough for the file to be free, else just long enough for others to come between.
    constexpr std::uint64_t kLongest = 1500;
    std::this_thread::sleep_for(std::chrono::microseconds(random() % kLongest));
}

std::string SoakWorker::NextContent()
{
    // Of any order of magnitude up to that.
    constexpr unsigned int kBits = 19;
    const std::uint64_t limit = std::uint64_t{1} << (random() % kBits);
    return WholeContent::make(random(), static_cast<std::size_t>(random() % limit));
}

} // namespace LumTests
