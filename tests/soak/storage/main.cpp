#include "soak/storage/SoakWorker.h"
#include "support/ChildProgram.h"
#include "support/ScratchFolder.h"

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <vector>

/// Lets eight processes read and write one file with the locked operations, and looks whether whatever is read is the
/// whole of what somebody wrote:
///
///     lum_soak_storage SECONDS
///
/// Exits with 0 if it always was.

namespace {

using LumTests::ChildProgram;
using LumTests::SoakTally;
using LumTests::SoakWorker;

constexpr const char* kWorker = "worker";
constexpr int kWriters = 3;
constexpr int kReaders = 5;
constexpr long kLongest = 99999;

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
    const int index = std::stoi(arguments.at(3));
    SoakWorker worker(arguments.at(2), static_cast<std::uint64_t>(index));
    std::cout << worker.Run(index < kWriters, secondsOf(arguments.at(1))) << std::endl;
    return EXIT_SUCCESS;
}

SoakTally runWorkers(const std::string& program, const std::string& seconds, const std::string& path)
{
    std::vector<std::unique_ptr<ChildProgram>> workers;
    for (int index = 0; index < kWriters + kReaders; ++index) {
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
    std::cout << "opens       " << tally.opens() << '\n'
              << "wins        " << tally.reads + tally.writes << " (" << tally.reads << " reads, " << tally.writes
              << " writes)\n"
              << "refusals    " << tally.refusedReads + tally.refusedWrites << " (" << tally.refusedReads << " reads, "
              << tally.refusedWrites << " writes)\n"
              << "failures    " << tally.failures << '\n'
              << "violations  " << tally.violations << std::endl;
}

int run(const std::string& program, const std::string& seconds)
{
    secondsOf(seconds);
    const LumTests::ScratchFolder folder;
    const std::string path = folder.file("soak.bin");
    if (!SoakWorker(path, kWriters + kReaders).Prepare()) {
        throw std::runtime_error("cannot write " + path);
    }
    std::cout << kReaders << " processes read, " << kWriters << " write one file for " << seconds << " s" << std::endl;
    const SoakTally tally = runWorkers(program, seconds, path);
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
