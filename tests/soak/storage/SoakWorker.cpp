#include "soak/storage/SoakWorker.h"

#include "common/storage/LumStorageError.h"
#include "common/utils/LumFormattingLoggerDelegate.h"
#include "soak/storage/WholeContent.h"

#include <iostream>
#include <thread>

namespace LumTests {

namespace {

using Clock = std::chrono::steady_clock;
using ErrorPointer = std::shared_ptr<LumUtils::ILumError>;

/// Each worker's contents have sizes that no other's have: they leave another rest.
constexpr std::size_t kWorkers = 32;

/// How often what is refused for a moment is tried, a millisecond apart.
constexpr int kTries = 1000;

/// The size of the file that the path names, or -1 if there is none. An open that excludes reading for a moment is
/// waited for.
std::int64_t sizeOf(const std::string& path)
{
    LumStorage::LumFileManager files{nullptr};
    std::int64_t size = -1;
    for (int tries = 0; tries < kTries && size < 0 && files.doesFileExist(path); ++tries) {
        size = files.getFileSize(path);
        if (size < 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    return size;
}

/// A success is told while the write still has the file open. The path must name that file then.
class PlaceWatch : public LumUtils::LumFormattingLoggerDelegate {
public:
    PlaceWatch(std::string filePath, std::int64_t size) : path(std::move(filePath)), expectedSize(size) {}

    bool hasLost = false;

private:
    void writeRecord(LumUtils::LumLogLevel level, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& /*message*/, unsigned int /*line*/) override
    {
        if (level != LumUtils::LumLogLevel::Info) {
            return;
        }
        std::this_thread::yield();
        const std::int64_t size = sizeOf(path);
        if (size != expectedSize) {
            hasLost = true;
            std::cerr << "not where it was written to: " << expectedSize << " bytes, found " << size << '\n';
        }
    }

    const std::string path;
    const std::int64_t expectedSize;
};

bool isWholeOrEmpty(const std::vector<char>& content)
{
    return content.empty() || WholeContent::isWhole(content);
}

/// What is written without a lock, always the same: whoever interrupts whom, what is there in the end is whole. It has
/// no line ends, which the system may have its own of.
const std::string& plainContent()
{
    static const std::string content = [] {
        std::string made;
        std::uint64_t seed = 0;
        do {
            made = WholeContent::make(++seed, kWorkers - 1);
        } while (made.find('\n') != std::string::npos);
        return made;
    }();
    return content;
}

} // namespace

SoakWorker::SoakWorker(std::string filePath, unsigned int workerNumber)
    : path(std::move(filePath)), number(workerNumber), random(workerNumber)
{
}

SoakTally SoakWorker::Run(SoakRole role, std::chrono::seconds duration)
{
    const Clock::time_point end = Clock::now() + duration;
    while (Clock::now() < end) {
        Act(role);
        Pause();
    }
    return tally;
}

bool SoakWorker::Prepare()
{
    ErrorPointer error;
    return files.writeFileContentWithLock(path, NextContent(), error);
}

bool SoakWorker::IsWholeAtRest()
{
    return !files.doesFileExist(path) || isWholeOrEmpty(files.readFileContent(path));
}

void SoakWorker::Act(SoakRole role)
{
    switch (role) {
    case SoakRole::Read:
    case SoakRole::ReadBesideOthers:
        return Read(role == SoakRole::Read);
    case SoakRole::Write:
        return Write(files, NextContent());
    case SoakRole::WriteBesideOthers:
        return WriteAndLook();
    case SoakRole::PlainRead:
        files.readFileContent(path);
        return;
    case SoakRole::PlainWrite:
        return CountOther(files.writeFileContent(path, plainContent()), tally.plainWrites);
    case SoakRole::Rename:
        return Rename();
    case SoakRole::Delete:
        return CountOther(files.deleteFile(path), tally.deletions);
    }
}

void SoakWorker::Read(bool isAlone)
{
    ErrorPointer error;
    const std::vector<char> content = files.readFileContentWithLock(path, error);
    if (error) {
        Count(*error, tally.refusedReads, !isAlone);
    } else if (!isAlone || WholeContent::isWhole(content)) {
        ++tally.reads;
    } else {
        ++tally.violations;
        std::cerr << "not whole: " << content.size() << " bytes\n";
    }
}

void SoakWorker::Write(LumStorage::LumFileManager& writer, const std::string& content)
{
    ErrorPointer error;
    if (writer.writeFileContentWithLock(path, content, error)) {
        ++tally.writes;
    } else {
        Count(*error, tally.refusedWrites, false);
    }
}

void SoakWorker::WriteAndLook()
{
    const std::string content = NextContent();
    const auto watch = std::make_shared<PlaceWatch>(path, static_cast<std::int64_t>(content.size()));
    LumStorage::LumFileManager watched(watch);
    Write(watched, content);
    tally.lost += watch->hasLost ? 1U : 0U;
}

void SoakWorker::Rename()
{
    const std::string own = path + "." + std::to_string(number);
    const bool isMoved = files.renameFile(path, own);
    CountOther(isMoved, tally.renames);
    if (!isMoved) {
        return;
    }
    sizeOf(own);
    const std::vector<char> content = files.readFileContent(own);
    Pause();
    const std::vector<char> later = files.readFileContent(own);
    const bool isKept = isWholeOrEmpty(content) && later == content;
    // Who opened the file by its old name holds it until it has seen that the name is another file's.
    bool isGivenBack = false;
    for (int tries = 0; tries < kTries && !isGivenBack; ++tries) {
        isGivenBack = files.renameFile(own, path) || files.deleteFile(own);
        std::this_thread::sleep_for(std::chrono::milliseconds(isGivenBack ? 0 : 1));
    }
    if (!isKept || !isGivenBack) {
        ++tally.lost;
        std::cerr << "not kept under its new name: " << content.size() << " bytes, then " << later.size()
                  << (isGivenBack ? "" : ", then in use") << '\n';
    }
}

void SoakWorker::CountOther(bool isDone, std::uint64_t& done)
{
    ++(isDone ? done : tally.refusedOthers);
}

void SoakWorker::Count(const LumUtils::ILumError& error, std::uint64_t& refusals, bool mayBeShort)
{
    namespace Code = LumStorage::LumStorageErrorCode;
    const int code = error.getCode();
    // Whoever writes without a lock may empty a file while it is read.
    if (code == Code::kOpenFailed || code == Code::kLockFailed || (mayBeShort && code == Code::kReadFailed)) {
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
    constexpr unsigned int kBits = 14;
    const std::uint64_t limit = std::uint64_t{1} << (random() % kBits);
    return WholeContent::make(random(), static_cast<std::size_t>(random() % limit) * kWorkers + number);
}

} // namespace LumTests
