#include "soak/storage/SoakWorker.h"
#include "support/ChildProgram.h"
#include "support/ScratchFolder.h"

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <vector>

/// Lets processes use files at the same time, and looks whether nothing is lost and whatever is read is the whole of
/// what somebody wrote:
///
///     lum_soak_storage SECONDS
///
/// One file is only read and written with locks. The other one is written without a lock too, renamed and deleted.
/// Exits with 0 if all was well.

namespace {

using LumTests::ChildProgram;
using LumTests::SoakRole;
using LumTests::SoakTally;
using LumTests::SoakWorker;

constexpr const char* kWorker = "worker";
constexpr long kLongest = 99999;

constexpr SoakRole kRoles[] = {
    SoakRole::Write,
    SoakRole::Write,
    SoakRole::Write,
    SoakRole::Read,
    SoakRole::Read,
    SoakRole::Read,
    SoakRole::Read,
    SoakRole::Read,
    SoakRole::WriteBesideOthers,
    SoakRole::WriteBesideOthers,
    SoakRole::ReadBesideOthers,
    SoakRole::PlainRead,
    SoakRole::PlainWrite,
    SoakRole::PlainWrite,
    SoakRole::Rename,
    SoakRole::Delete,
};
constexpr unsigned int kProcesses = sizeof(kRoles) / sizeof(kRoles[0]);

bool hasFileOfLocks(SoakRole role)
{
    return role == SoakRole::Read || role == SoakRole::Write;
}

std::chrono::seconds secondsOf(const std::string& text)
{
    std::size_t end = 0;
    const long seconds = text.empty() ? 0 : std::stol(text, &end);
    if (end != text.size() || seconds <= 0 || seconds > kLongest) {
        throw std::invalid_argument("lum_soak_storage SECONDS, from 1 to " + std::to_string(kLongest));
    }
    return std::chrono::seconds(seconds);
}

/// worker SECONDS PATH INDEX: what this program starts itself with.
int runWorker(const std::vector<std::string>& arguments)
{
    const auto index = static_cast<unsigned int>(std::stoul(arguments.at(3)));
    SoakWorker worker(arguments.at(2), index);
    std::cout << worker.Run(kRoles[index % kProcesses], secondsOf(arguments.at(1))) << std::endl;
    return EXIT_SUCCESS;
}

SoakTally runWorkers(const std::string& program, const std::string& seconds, const std::string& fileOfLocks,
                     const std::string& fileOfAll)
{
    std::vector<std::unique_ptr<ChildProgram>> workers;
    for (unsigned int index = 0; index < kProcesses; ++index) {
        const std::string& path = hasFileOfLocks(kRoles[index]) ? fileOfLocks : fileOfAll;
        workers.push_back(std::make_unique<ChildProgram>(
            program, std::vector<std::string>{kWorker, seconds, path, std::to_string(index)}));
    }
    SoakTally total;
    for (const auto& worker : workers) {
        SoakTally tally;
        std::istringstream line(worker->readLine());
        if (!(line >> tally) || worker->wait() != 0) {
            throw std::runtime_error("a process did not live to tell what came of it");
        }
        total += tally;
    }
    return total;
}

void print(const SoakTally& tally)
{
    std::cout << "with locks  " << tally.reads << " reads, " << tally.writes << " writes; refused "
              << tally.refusedReads << " reads, " << tally.refusedWrites << " writes\n"
              << "others      " << tally.plainWrites << " writes, " << tally.renames << " renames, " << tally.deletions
              << " deletions; refused " << tally.refusedOthers << '\n'
              << "failures    " << tally.failures << '\n'
              << "violations  " << tally.violations << '\n'
              << "lost        " << tally.lost << std::endl;
}

int run(const std::string& program, const std::string& seconds)
{
    secondsOf(seconds);
    const LumTests::ScratchFolder folder;
    const std::string fileOfLocks = folder.file("locked.bin");
    const std::string fileOfAll = folder.file("shared.bin");
    SoakWorker shared(fileOfAll, kProcesses + 1);
    if (!SoakWorker(fileOfLocks, kProcesses).Prepare() || !shared.Prepare()) {
        throw std::runtime_error("cannot write into " + folder.path());
    }
    std::cout << kProcesses << " processes use two files for " << seconds << " s" << std::endl;
    SoakTally tally = runWorkers(program, seconds, fileOfLocks, fileOfAll);
    tally.lost += shared.IsWholeAtRest() ? 0U : 1U;
    print(tally);
    return tally.isGood() ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int count, char** words)
{
    try {
        const std::vector<std::string> arguments(words + 1, words + count);
        if (!arguments.empty() && arguments.front() == kWorker) {
            return runWorker(arguments);
        }
        return run(words[0], arguments.empty() ? "" : arguments.front());
    } catch (const std::exception& failure) {
        std::cerr << "lum_soak_storage: " << failure.what() << '\n';
        return EXIT_FAILURE;
    }
}
