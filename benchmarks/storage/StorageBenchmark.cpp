#include "StorageBenchmark.h"

#include "RawFiles.h"
#include "support/Median.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <stdexcept>

namespace LumBench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kKibibyte = 1024;
constexpr std::size_t kMebibyte = 1024 * kKibibyte;

/// At most 1.1 times as long.
constexpr double kWholeGoal = 1 / 1.1;
constexpr double kLockMicroseconds = 10;

/// Beside the bare calls, which keep nobody away. Locks alone take longer than a small write leaves for that.
constexpr double kLockedWriteGoal = 0.65;

/// A small file is opened and closed for longer than it is read, and share modes are a part of that.
std::optional<double> goalBesideBareCalls(std::size_t size)
{
    return size < kMebibyte ? std::nullopt : std::optional<double>(kWholeGoal);
}

/// For how long one way runs at a time.
constexpr double kRoundMicroseconds = 30000;

std::string nameOf(std::size_t size)
{
    return size < kMebibyte ? std::to_string(size / kKibibyte) + " KiB" : std::to_string(size / kMebibyte) + " MiB";
}

std::string makeContent(std::size_t size)
{
    // Without line ends: written as text it is the same on every system.
    std::string content(size, '\0');
    for (std::size_t index = 0; index < size; ++index) {
        content[index] = static_cast<char>('a' + (index * 7 + index / 251) % 26);
    }
    return content;
}

void require(bool isDone, const char* what)
{
    if (!isDone) {
        throw std::runtime_error(std::string(what) + " failed");
    }
}

/// How long one of so many takes, in microseconds.
double timeOf(const std::function<void()>& run, int count)
{
    const Clock::time_point start = Clock::now();
    for (int index = 0; index < count; ++index) {
        run();
    }
    const std::chrono::duration<double, std::micro> elapsed = Clock::now() - start;
    return elapsed.count() / count;
}

/// One round of each way after the other. The next round goes the other way: nobody is always the one after another.
std::vector<std::vector<double>> timesOf(const std::vector<std::function<void()>>& ways, int rounds)
{
    std::vector<int> counts;
    for (const auto& way : ways) {
        way();
        counts.push_back(std::max(1, static_cast<int>(kRoundMicroseconds / timeOf(way, 2))));
    }
    std::vector<std::vector<double>> times(ways.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t place = 0; place < ways.size(); ++place) {
            const std::size_t index = round % 2 == 0 ? place : ways.size() - 1 - place;
            times[index].push_back(timeOf(ways[index], counts[index]));
        }
    }
    return times;
}

} // namespace

StorageBenchmark::StorageBenchmark(BenchOptions newOptions, std::filesystem::path newMemory,
                                   std::filesystem::path newDisk)
    : options(std::move(newOptions)), memory(std::move(newMemory)), disk(std::move(newDisk))
{
}

BenchReport StorageBenchmark::Run()
{
    BenchReport report("storage");
    for (const std::size_t size : {4 * kKibibyte, kMebibyte, 64 * kMebibyte}) {
        content = makeContent(size);
        RawFiles::Write(PathOf("source"), content);
        RawFiles::Write(DiskPathOf("source"), content);
        for (const Case& each : CasesOf(size)) {
            if (options.WantsCase(each.name)) {
                Measure(each, report);
            }
        }
    }
    return report;
}

std::vector<StorageBenchmark::Case> StorageBenchmark::CasesOf(std::size_t size)
{
    return {ReadCase(size), WriteCase(size), LockedReadCase(size), LockedWriteCase(size), CopyCase(size)};
}

StorageBenchmark::Case StorageBenchmark::ReadCase(std::size_t size)
{
    const std::string source = PathOf("source");
    return {"read " + nameOf(size),
            size,
            [=] { require(files.readFileContent(source).size() == size, "readFileContent"); },
            {{"raw, into a vector", [=] { RawFiles::ReadVector(source); }, 0, goalBesideBareCalls(size)},
             {"raw, with a share mode", [=] { RawFiles::ReadShared(source); }, 0, kWholeGoal},
             {"raw, into bare memory", [=] { RawFiles::ReadBare(source); }},
             {"stream's rdbuf", [=] { RawFiles::StreamRead(source); }}}};
}

StorageBenchmark::Case StorageBenchmark::WriteCase(std::size_t size)
{
    const std::string target = PathOf("target");
    return {"write " + nameOf(size),
            size,
            [=] { require(files.writeFileContent(target, content), "writeFileContent"); },
            {{"raw", [=] { RawFiles::Write(target, content); }, 0, goalBesideBareCalls(size)},
             {"raw, with a share mode", [=] { RawFiles::WriteShared(target, content); }, 0, kWholeGoal},
             {"stream", [=] { RawFiles::StreamWrite(target, content); }}}};
}

StorageBenchmark::Case StorageBenchmark::LockedReadCase(std::size_t size)
{
    const std::string source = PathOf("source");
    const auto ours = [=] {
        std::shared_ptr<LumUtils::ILumError> error;
        require(files.readFileContentWithLock(source, error).size() == size && !error, "readFileContentWithLock");
    };
    return {"locked read " + nameOf(size),
            size,
            ours,
            {{"raw, into a vector, + 10 us", [=] { RawFiles::ReadVector(source); }, kLockMicroseconds, 1},
             {"raw, into bare memory, + 10 us", [=] { RawFiles::ReadBare(source); }, kLockMicroseconds}}};
}

StorageBenchmark::Case StorageBenchmark::LockedWriteCase(std::size_t size)
{
    const std::string target = PathOf("target");
    const auto ours = [=] {
        std::shared_ptr<LumUtils::ILumError> error;
        require(files.writeFileContentWithLock(target, content, error), "writeFileContentWithLock");
    };
    return {"locked write " + nameOf(size),
            size,
            ours,
            {{"raw", [=] { RawFiles::Write(target, content); }, 0, kLockedWriteGoal},
             {"raw, with share mode and lock", [=] { RawFiles::WriteLocked(target, content); }, 0, kWholeGoal}}};
}

StorageBenchmark::Case StorageBenchmark::CopyCase(std::size_t size)
{
    const std::string source = DiskPathOf("source");
    const std::string target = DiskPathOf("target");
    return {"copy " + nameOf(size),
            size,
            [=] { require(files.copyFile(source, target), "copyFile"); },
            {{"cp", [=] { RawFiles::CommandCopy(source, target); }, 0, 1},
             {"stream's rdbuf", [=] { RawFiles::StreamCopy(source, target); }}}};
}

void StorageBenchmark::Measure(const Case& measured, BenchReport& report) const
{
    std::vector<std::function<void()>> ways{measured.ours};
    std::vector<const Way*> peers;
    for (const Way& peer : measured.peers) {
        if (options.WantsPeer(peer.name)) {
            ways.push_back(peer.run);
            peers.push_back(&peer);
        }
    }
    const int rounds = options.isQuick ? 5 : 21;
    std::cerr << measured.name << ": " << rounds << " rounds of " << ways.size() << " ways\n";
    const std::vector<std::vector<double>> times = timesOf(ways, rounds);
    for (std::size_t index = 0; index < peers.size(); ++index) {
        report.AddLessIsBetter(measured.name, peers[index]->name, "us", Median(times[0]),
                               Median(times[index + 1]) + peers[index]->allowance, peers[index]->goal);
    }
}

} // namespace LumBench
